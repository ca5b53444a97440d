// Watching how an upgrade goes: what is shown of it, and how that ends.
#include "ravc/commands/firmware.h"
#include "ravc/daemon/request.h"
#include "tests/support/interrupt.h"
#include "tests/unit/ravc/firmware_fixture.h"

namespace {

class Watching : public Firmware {
 protected:
    Watching() { scene_.tell(told("0", "1", "1")); }

    // What is printed between "Flashing: " and the end of the line.
    std::string marks(const std::vector<Answer> &polls) {
        scene_.play(polls);
        const Outcome outcome = upgrade();
        EXPECT_EQ(outcome.result, 0);
        const std::string begin = "Flashing: ", end = "\nStatus: OK\n";
        EXPECT_TRUE(outcome.text.starts_with(begin) && outcome.text.ends_with(end)) << outcome.text;
        return outcome.text.substr(begin.size(), outcome.text.size() - begin.size() - end.size());
    }
    static std::vector<Answer> steps(const std::vector<int> &percentages) {
        std::vector<Answer> polls;
        for (const int percent : percentages) polls.push_back({progress(std::to_string(percent), "1")});
        polls.push_back({progress("99", "-2")});
        return polls;
    }
};

TEST_F(Watching, MarksEveryTwoAndEveryTen) {
    EXPECT_EQ(marks(steps({0, 1, 2, 3, 10, 11})), "*@");
}

TEST_F(Watching, AJumpLeavesOneMark) {
    EXPECT_EQ(marks(steps({8, 12})), "*@");
}

TEST_F(Watching, ShowsAtOnceWhatItPrints) {
    EXPECT_EQ(marks(steps({2, 10})), "*@");
    EXPECT_EQ(scene_.shown(), (Sent{"Flashing: ", "Flashing: *", "Flashing: *@"}));
}

TEST(FirmwareMarks, OfEachStep) {
    struct Step {
        int64_t before, now;
        char mark;
    };
    for (const Step &step : {Step{0, 0, '\0'},
                             {0, 1, '\0'},
                             {1, 2, '*'},
                             {2, 3, '\0'},
                             {3, 10, '@'},
                             {10, 11, '\0'},
                             {8, 12, '@'},
                             {8, 10, '@'},
                             {8, 9, '\0'},
                             {90, 98, '*'},
                             {98, 100, '@'},
                             {10, 8, '@'},
                             {0, -1, '\0'},
                             {0, -2, '*'},
                             {0, INT64_MAX, '@'},
                             {0, INT64_MIN, '@'}})
        EXPECT_EQ(firmware_progress_mark(step.before, step.now), step.mark) << step.before << " -> " << step.now;
}

TEST_F(Watching, OddPercentagesHarmNothing) {
    EXPECT_EQ(marks({{progress("-7", "1")},
                     {progress("1000000000", "1")},
                     {progress("9223372036854775807", "0")},
                     {progress("\"x\"", "null")},
                     {ended}}),
              "*@@@");
}

TEST_F(Watching, AnswersWithoutValuesCountAsNoProgress) {
    EXPECT_EQ(marks({{"{}"}, {R"({"ParameterList":[]})"}, {R"({"ParameterList":7})"}, {ended}}), "");
}

TEST_F(Watching, EndsAtAnyNegativeStatus) {
    for (const char *status : {"-1", "-2", "-1000"}) EXPECT_EQ(marks({{progress("50", status)}}), "");
}

TEST_F(Watching, EndsWhenTheDaemonGoes) {
    EXPECT_EQ(marks({{progress("20", "1")}, {.result = "", .closes = true}}), "@");
}

TEST_F(Watching, EndsWhenTheDaemonDoesNotAnswerWithinASecond) {
    EXPECT_EQ(marks({{progress("4", "1")}, {""}}), "*");
}

TEST_F(Watching, GoesOnWithADaemonThatHasRestarted) {
    EXPECT_EQ(marks({{.result = progress("90", "1"), .closes = true}, {progress("100", "1")}, {ended}}), "@@");
    EXPECT_EQ(daemon_.accepted(), 2);
}

TEST_F(Watching, EndsWhenTheDaemonRefusesToTell) {
    EXPECT_EQ(marks({{progress("20", "1")}, {.result = "", .refuses = true}}), "@");
}

TEST_F(Watching, ResultsThatAreNoObjectsTellNothing) {
    scene_.tell("7");  // not even a status: as 0
    EXPECT_EQ(marks({{R"("text")"}, {ended}}), "");
}

TEST_F(Watching, CtrlCAbandonsIt) {
    scene_.play({{progress("20", "1")}, {.result = progress("30", "1"), .closes = false, .interrupts = true}});
    const test::BlockedInterrupt interrupt(test::jump_out);
    testing::internal::CaptureStdout();
    const bool abandoned = test::is_abandoned([] {
        json_auto_t *args = json_pack("[s]", "a://b");
        process_upgrade("upgrade", args);
    });
    EXPECT_EQ(testing::internal::GetCapturedStdout().rfind("Flashing: @", 0), 0U);
    EXPECT_TRUE(abandoned);
    mend_abandoned_request();
    EXPECT_EQ(run(process_save, "save"), (Outcome{0, "Status: OK\n"}));
}

}  // namespace
