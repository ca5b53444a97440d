// A folder of programs and a loop that runs them.
#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include "ravd/handlers/programs.h"

namespace ravd {

class ProgramsTest : public testing::Test {
 protected:
    ProgramsTest() {
        signal(SIGPIPE, SIG_IGN);  // as the daemon does
        std::string pattern = (std::filesystem::temp_directory_path() / "programs-XXXXXX").string();
        folder = mkdtemp(pattern.data());
        chmod(folder.c_str(), 0755);
        open();
    }
    ~ProgramsTest() override {
        programs.reset();
        event_base_free(base);
        std::filesystem::remove_all(folder);
    }

    // Makes the programs anew, with the present limits.
    void open(const std::string &user = "") {
        programs = std::make_unique<Programs>(base, limits);
        std::string error;
        EXPECT_TRUE(programs->open(folder.string(), user, error)) << error;
    }
    std::string path(const std::string &name) const { return (folder / name).string(); }
    // A program in the folder.
    void write(const std::string &name, const std::string &text, mode_t mode = 0755) const {
        std::ofstream(path(name)) << text;
        chmod(path(name).c_str(), mode);
    }
    void script(const std::string &name, const std::string &commands) const { write(name, "#!/bin/sh\n" + commands); }

    // Runs the loop until condition() holds; false when that takes too long.
    bool loop_until(const std::function<bool()> &condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            const timeval soon = {0, 10'000};
            event_base_loopexit(base, &soon);
            event_base_dispatch(base);
        }
        return true;
    }
    // The outcome of one run.
    ProgramOutcome run(const std::string &name, const std::string &input = "", uint64_t time_ms = 0) {
        ProgramOutcome outcome;
        bool ended = false;
        const auto done = [&](const ProgramOutcome &each) {
            outcome = each;
            ended = true;
        };
        EXPECT_NE(programs->run(name, input, done, time_ms), Programs::none);
        EXPECT_FALSE(ended) << "not from within run()";
        EXPECT_TRUE(loop_until([&] { return ended; }));
        return outcome;
    }
    // What a program wrote; its problem when it had one.
    std::string told(const std::string &name, const std::string &input = "") {
        const ProgramOutcome outcome = run(name, input);
        return outcome.problem.empty() ? outcome.output : outcome.problem;
    }

    std::filesystem::path folder;
    event_base *base = event_base_new();
    ProgramLimits limits;
    std::unique_ptr<Programs> programs;
};

}  // namespace ravd
