// The dialogue about a firmware image: which requests follow which answer, what is printed, and how it ends.
#include "ravc/commands/firmware.h"

#include <mutex>

#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>

#include "ravc/daemon/request.h"
#include "tests/support/end_of_process.h"
#include "tests/support/interrupt.h"
#include "tests/support/typed_input.h"
#include "tests/unit/ravc/shell_fixture.h"

namespace {

std::string progress(const std::string &percent, const std::string &status) {
    return R"({"ParameterList":[{"Name":"Device.DeviceInfo.UpgradeProgress","Value":)" + percent +
           R"(},{"Name":"Device.DeviceInfo.UpgradeStatus","Value":)" + status + "}]}";
}

const std::string ended = progress("0", "-2");

// How a poll is answered.
struct Answer {
    std::string result;  // none: not at all
    bool closes = false;
    bool interrupts = false;  // Ctrl-C comes, too
    bool refuses = false;     // with an error
};

// What the daemon makes of an image, and how its upgrade goes: the answers to polling, in order; the last one again and
// again.
class Scene {
 public:
    void tell(const std::string &reply) {
        const std::lock_guard lock(mutex_);
        reply_ = reply;
    }
    void play(const std::vector<Answer> &polls) {
        const std::lock_guard lock(mutex_);
        polls_ = polls;
        polled_ = 0;
    }

    std::string reply() {
        const std::lock_guard lock(mutex_);
        return reply_;
    }
    // Answers a poll. Returns false when the connection is to be closed.
    bool poll(test::Peer &peer, const std::string &request) {
        const Answer answer = next();
        if (!answer.result.empty()) peer.reply(request, answer.result);
        if (answer.refuses) peer.fail(request, 9001, "Request denied");
        if (answer.interrupts) pthread_kill(main_thread_, SIGINT);
        return !answer.closes;
    }

 private:
    Answer next() {
        const std::lock_guard lock(mutex_);
        return polls_[std::min(polled_++, polls_.size() - 1)];
    }

    std::mutex mutex_;
    std::string reply_;
    std::vector<Answer> polls_ = {{ended}};
    size_t polled_ = 0;
    const pthread_t main_thread_ = pthread_self();
};

std::string told(const std::string &status, const std::string &current, const std::string &next) {
    return R"({"Status":)" + status + R"(,"CurrentVersion":")" + current + R"(","NewVersion":")" + next +
           R"(","SavedFirmware":"/state/image","TransactionID":["any",1]})";
}

void serve(Scene &scene, test::Peer &peer) {
    while (const auto request = peer.request()) {
        const std::string method = test::method_of(*request);
        if (method == "GetParameterValues") {
            if (!scene.poll(peer, *request)) return;
        } else {
            const bool is_fetch = test::params_of(*request).find(R"("NeedPreUpdate":false)") != std::string::npos &&
                                  test::params_of(*request).find("TransactionID") == std::string::npos;
            peer.reply(*request, is_fetch ? scene.reply() : "{}");
        }
    }
}

const char pre_update[] = R"(Download {"FileType":"Firmware","URL":"a://b","NeedPreUpdate":true})";
const char fetch[] = R"(Download {"FileType":"Firmware","URL":"a://b","NeedPreUpdate":false})";
const char apply[] =
    R"(Download {"FileType":"Firmware","URL":"file:///state/image","NeedPreUpdate":false,"TransactionID":["any",1]})";
const char cancel[] = R"(Download {"FileType":"Firmware","TransactionID":["any",1]})";
const char reset[] = "FactoryReset {}";
const char poll[] =
    R"(GetParameterValues {"ParameterNames":["Device.DeviceInfo.UpgradeProgress","Device.DeviceInfo.UpgradeStatus"]})";

const char no_flashing[] = "Flashing: \nStatus: OK\n";

class Firmware : public ShellFixture, protected test::TypedInput {
 protected:
    Firmware() : ShellFixture([this](test::Peer &peer) { serve(scene_, peer); }) {}

    // Runs the command in a child, whose status is the outcome's result.
    Outcome upgrade() {
        testing::internal::CaptureStdout();
        const int status = test::end_of_process([] {
            json_auto_t *args = json_pack("[s]", "a://b");
            process_upgrade("upgrade", args);
        });
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, testing::internal::GetCapturedStdout()};
    }

    Scene scene_;
};

TEST_F(Firmware, WhatIsAppliedAlreadyIsOnlyWatched) {
    scene_.tell(told("0", "1.0.0", "2.0.0"));
    EXPECT_EQ(upgrade(), (Outcome{0, no_flashing}));
    EXPECT_EQ(sent(), (Sent{pre_update, fetch, poll}));
}

TEST_F(Firmware, AnEqualVersionIsNotApplied) {
    scene_.tell(told("1", "1.2.3", "1.2.3"));
    EXPECT_EQ(upgrade(), (Outcome{0, no_flashing}));
    EXPECT_EQ(sent(), (Sent{pre_update, fetch, poll}));
}

struct Row {
    const char *current, *next, *said;
};

TEST_F(Firmware, BuildsAndMinorsAreApplied) {
    for (const Row &row : {Row{"1.2.3", "1.2.4", "Build upgrade...\n"},
                           {"1.2.4", "1.2.3", "Build downgrade...\n"},
                           {"1.2.3", "1.3.0", "Minor upgrade...\n"},
                           {"1.3.0", "1.2.9", "Minor downgrade...\n"}}) {
        scene_.tell(told("1", row.current, row.next));
        EXPECT_EQ(upgrade(), (Outcome{0, std::string(row.said) + no_flashing}));
        EXPECT_EQ(sent(), (Sent{pre_update, fetch, apply, poll})) << row.said;
    }
}

TEST_F(Firmware, AnotherBranchResetsTheConfiguration) {
    for (const Row &row : {Row{"1.2.3", "1.2.3-a", ""}, {"1.2.3-b", "2.0.0-a", ""}, {"1.2.3", "odd", ""}}) {
        scene_.tell(told("1", row.current, row.next));
        EXPECT_EQ(upgrade(), (Outcome{0, std::string("Resetting config...\nStatus: OK\n") + no_flashing}));
        EXPECT_EQ(sent(), (Sent{pre_update, fetch, reset, apply, poll}));
    }
}

TEST_F(Firmware, VersionsThatAreNotToldResetNothing) {
    scene_.tell(R"({"Status":1,"NewVersion":"1.0.0","SavedFirmware":"/state/image","TransactionID":["any",1]})");
    EXPECT_EQ(upgrade(), (Outcome{0, no_flashing}));
    EXPECT_EQ(sent(), (Sent{pre_update, fetch, apply, poll}));
}

class MajorFirmware : public Firmware {
 protected:
    MajorFirmware() { scene_.tell(told("1", "1.9.9", "2.0.0")); }
};

TEST_F(MajorFirmware, AnyOtherAnswerKeepsTheConfiguration) {
    for (const char *answer : {"\n", "n\n", "no\n", "yes\n", "cancel\n", " y\n", "yy\n"}) {
        type(answer);
        EXPECT_EQ(upgrade(), (Outcome{0, std::string("Major upgrade...\n") + no_flashing})) << answer;
        EXPECT_EQ(sent(), (Sent{pre_update, fetch, apply, poll})) << answer;
    }
    end_of_input();
    EXPECT_EQ(upgrade().result, 0);
    EXPECT_EQ(sent(), (Sent{pre_update, fetch, apply, poll}));
}

TEST_F(MajorFirmware, YesResetsTheConfigurationFirst) {
    for (const char *answer : {"y\n", "Y\n"}) {
        type(answer);
        EXPECT_EQ(upgrade(),
                  (Outcome{0, std::string("Major upgrade...\nResetting config...\nStatus: OK\n") + no_flashing}));
        EXPECT_EQ(sent(), (Sent{pre_update, fetch, reset, apply, poll}));
    }
}

TEST_F(MajorFirmware, CancelGivesTheTransactionBackAndReturns) {
    for (const char *answer : {"c\n", "C\n"}) {
        type(answer);
        EXPECT_EQ(run(process_upgrade, "upgrade", {"a://b"}), (Outcome{0, "Major upgrade...\n"}));
        EXPECT_EQ(sent(), (Sent{pre_update, fetch, cancel}));
    }
}

TEST_F(Firmware, AMajorDowngradeAsksToo) {
    scene_.tell(told("1", "2.0.0", "1.9.9"));
    type("c\n");
    EXPECT_EQ(run(process_upgrade, "upgrade", {"a://b"}), (Outcome{0, "Major downgrade...\n"}));
    EXPECT_EQ(sent(), (Sent{pre_update, fetch, cancel}));
}

TEST_F(Firmware, TheTargetsNameGoesWithEveryRequestButCancelling) {
    scene_.tell(told("1", "1.2.3", "1.2.4"));
    testing::internal::CaptureStdout();
    test::end_of_process([] {
        json_auto_t *args = json_pack("[s, s, s]", "firmware", "a://b", "name");
        process_download("download", args);
    });
    testing::internal::GetCapturedStdout();
    for (const std::string &request : sent())
        EXPECT_EQ(request.find(R"("TargetFileName":"name")") != std::string::npos, request != poll) << request;
}

// Watching

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
