// Programs that ravd starts: handlers of the schema, and whatever else a device maker puts into their folder. Each gets
// a text on its standard input and answers on its standard output.
//
//     const auto done = [](const ProgramOutcome &outcome) { log_info("reboot %s", outcome.problem.c_str()); };
//     if (programs.run("reboot", R"({"action":"reboot"})", done) == Programs::none) return {9004, …};
//
// To be used on the loop only. What a program writes on its standard error goes to the log, line by line.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include <event2/event.h>

#include "ravd/handlers/program_folder.h"
#include "ravd/handlers/program_process.h"
#include "ravd/handlers/program_run.h"

namespace ravd {

class Programs {
 public:
    using Done = std::function<void(const ProgramOutcome &)>;
    using Id = uint64_t;
    static constexpr Id none = 0;

    Programs(event_base *base, const ProgramLimits &limits);
    // Kills what runs, waits for its end, and calls no done().
    ~Programs();
    Programs(const Programs &) = delete;
    Programs &operator=(const Programs &) = delete;

    // Sets the folder that programs are in and, where user is not empty, the user that they run as. False with an error
    // when one of them can't be used. Without a folder every run has a problem.
    bool open(const std::string &folder, const std::string &user, std::string &error);
    bool is_open() const { return folder_.is_open(); }
    // Why a program of that name can't be run; empty when it can.
    std::string problem_of(std::string_view name) const;

    // Runs a program, or has it wait until fewer run. done is called later, never from within run(), and exactly once
    // unless the run is cancelled. time_ms: until it is killed, 0 for the limit that all have. Returns none, with done
    // dropped, when too many wait already.
    Id run(std::string name, std::string input, Done done, uint64_t time_ms = 0);
    // Kills the program with every process of its group, or takes it from those that wait. done is not called. Nothing
    // happens when the run has ended.
    void cancel(Id id);

    // Whether the process belongs to a program that runs: what it asks for must not start another one.
    bool contains(pid_t pid) const;

 private:
    struct Waiting {
        Id id;
        std::string name, input;
        Done done;
        uint64_t time_ms;
    };

    void wake();
    void start_some();
    void start(Waiting waiting);

    event_base *const base_;
    const ProgramLimits limits_;
    ProgramFolder folder_;
    std::optional<ProgramUser> user_;
    event *const turn_;
    Id last_id_ = none;
    std::deque<Waiting> waiting_;
    std::unordered_map<Id, std::unique_ptr<ProgramRun>> running_;
};

}  // namespace ravd
