// Ctrl-C. SIGINT stays blocked in the main thread and is let in only while the library waits (rv/wait.h): the handler
// jumps out of a wait or not at all. This is the only file with a jump.
#pragma once

#include <signal.h>

// Blocks SIGINT from here on; for the interactive shell, before its first wait that must not end the program. From here
// on SIGHUP and SIGTERM, unless they are ignored, end the shell in good order: they are noted, and abandon a command or
// end the present wait as SIGINT does.
void interrupt_init();

// Puts the idle handler in place: a SIGINT ends the present wait and is noted.
void interrupt_idle();
// Whether a SIGINT was noted since the last call.
bool interrupt_taken();
// SIGHUP or SIGTERM once one was noted, else 0.
int interrupt_ending();

// Runs command(context) so that Ctrl-C abandons it: then what its frames held stays as it is, no destructor runs.
// Returns true when it ran to its end, false when it was abandoned. SIGINT has its default action afterwards, and one
// that is still pending is used up. Does nothing and returns true while a command runs already.
bool run_command(void (*command)(void *context), void *context);

// For a mode that reads lines by itself, within a command or outside of the shell: while one exists, Ctrl-C ends the
// present wait and is noted, as at the shell's prompt, instead of abandoning the command, and SIGHUP and SIGTERM are
// noted, too. No jump crosses its frame then. Afterwards all is as it was before; where that was outside of the shell,
// a SIGHUP or SIGTERM that was noted is raised again.
class InterruptNoted {
 public:
    InterruptNoted();
    ~InterruptNoted();
    InterruptNoted(const InterruptNoted &) = delete;
    InterruptNoted &operator=(const InterruptNoted &) = delete;

 private:
    const bool was_blocked_, was_running_;
    struct sigaction interrupt_, hang_up_, terminate_;
};

// Whether a SIGINT waits to be let in. For long loops without a wait, which then end early and release what they hold:
// it takes effect in the next wait, or is used up when the command ends. False wherever SIGINT is not blocked.
bool interrupt_pending();
