// One program that runs: its input is written, its output collected, its complaints go to the log, its time is watched.
#pragma once

#include <functional>
#include <string>

#include <event2/event.h>

#include "ravd/handlers/program_process.h"

namespace ravd {

struct ProgramOutcome {
    int status = -1;      // its exit status; -1 when it did not run to its end
    std::string output;   // what it wrote on its standard output, when it ran to its end
    std::string problem;  // why it did not end with the status 0: "ended with the status 3", for the log; else empty
};

// A descriptor of ours and what is done when it is ready; -1 and null once it is closed.
struct ProgramPipe {
    int fd = -1;
    event *ready = nullptr;

    void close();
};

class ProgramRun {
 public:
    using Told = std::function<void(const ProgramOutcome &)>;
    using Gone = std::function<void()>;

    // Takes the process. told: called once, when the outcome is known, unless kill() was called before. gone: called
    // once, after that, when the process has ended; the run may be deleted in it.
    ProgramRun(event_base *base, std::string name, const ProgramProcess &process, std::string input,
               const ProgramLimits &limits, uint64_t time_ms, Told told, Gone gone);
    // Kills the group and waits for the end of the process, where it has not ended.
    ~ProgramRun();
    ProgramRun(const ProgramRun &) = delete;
    ProgramRun &operator=(const ProgramRun &) = delete;

    // Ends every process of the group. told is not called any more.
    void kill();
    pid_t group() const { return pid_; }

 private:
    void watch(event_base *base, ProgramPipe &pipe, int fd, short what, event_callback_fn call);
    void on_input();
    void on_output();
    void on_errors();
    void on_ended();
    void stop(std::string problem);
    void tell(const ProgramOutcome &outcome);
    ProgramOutcome outcome_of(int status) const;
    void log_lines(std::string_view text);
    void log_line();
    void kill_group() const;

    const std::string name_;
    const ProgramLimits &limits_;
    const uint64_t time_ms_;
    Told told_;
    Gone gone_;
    pid_t pid_;  // -1 once it was waited for
    ProgramPipe input_, output_, errors_, ended_;
    event *timer_;
    std::string to_write_;
    size_t written_ = 0;
    std::string collected_;
    std::string line_;  // of the standard error, begun and not ended
    size_t lines_ = 0;
    size_t complained_ = 0;  // bytes of it
};

}  // namespace ravd
