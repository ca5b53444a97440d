// A folder of programs and a loop that runs them.
#pragma once

#include <memory>
#include <string>

#include "ravd/handlers/programs.h"
#include "tests/unit/ravd/loop_fixture.h"

namespace ravd {

class ProgramsTest : public LoopTest {
 protected:
    ProgramsTest() { open(); }

    // Makes the programs anew, with the present limits.
    void open(const std::string &user = "") {
        programs = std::make_unique<Programs>(base, limits);
        std::string error;
        EXPECT_TRUE(programs->open(folder.path(), user, error)) << error;
    }
    void script(const std::string &name, const std::string &commands) const {
        write(name, "#!/bin/sh\n" + commands, 0755);
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

    ProgramLimits limits;
    std::unique_ptr<Programs> programs;
};

}  // namespace ravd
