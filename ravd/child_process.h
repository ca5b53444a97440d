// What every process that ravd starts begins and ends with. What is for the child is safe behind fork(), where other
// threads may have held any lock.
#pragma once

#include <span>

#include <sys/types.h>

namespace ravd {

// fork(); in the child all signals are blocked, until reset_signals(): handlers of signals write to pipes of the loop.
pid_t fork_blocked();

// For the child: all signals are default and unblocked.
void reset_signals();

// For the child: makes it that user's, with these groups beside gid. Returns false with errno, half way perhaps.
bool become_user(uid_t uid, gid_t gid, std::span<const gid_t> groups);

// Waits until the process has ended. Returns its status, as waitpid() has it.
int wait_for_end(pid_t pid);
// Kills it before.
void end_process(pid_t pid);

}  // namespace ravd
