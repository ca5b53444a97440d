// A program as a process of its own: started without a shell, in a process group of its own, with nothing of ravd's but
// three pipes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <sys/types.h>

namespace ravd {

struct ProgramLimits {
    uint64_t at_once = 8;                   // programs that run
    uint64_t waiting = 64;                  // that wait for one to end
    uint64_t time_ms = 30'000;              // until a program is killed
    uint64_t output = 65'536;               // bytes on its standard output
    uint64_t memory = uint64_t{512} << 20;  // bytes of address space of each of its processes
    uint64_t processes = 64;                // of the user that programs run as, where one was given
};

struct ProgramUser {
    uid_t uid;
    gid_t gid;
};

// A process that was started. The descriptors are the caller's, non-blocking, closed on exec.
struct ProgramProcess {
    pid_t pid = -1;  // and its process group
    int ended = -1;  // readable once the process has ended
    int input = -1, output = -1, errors = -1;
};

// Starts the program at path, an absolute one, with its name for the handler in its environment (RAV_HANDLER), the
// folder "/", no argument, all signals default and unblocked, the file mode mask 022, and as user where there is one.
// It may use the processor for time_ms, and ends with the thread that has started it. Returns once the program runs, an
// empty text, or why it does not; then there is no process.
std::string start_process(const std::string &path, const std::string &name, const std::optional<ProgramUser> &user,
                          const ProgramLimits &limits, uint64_t time_ms, ProgramProcess &process);

}  // namespace ravd
