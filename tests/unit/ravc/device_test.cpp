// reboot, reset, save, upload, debug and sh: what they send, print and return.
#include <filesystem>
#include <regex>

#include <dlfcn.h>
#include <signal.h>

#include "rv/wait.h"
#include "tests/support/end_of_process.h"
#include "tests/support/interrupt.h"
#include "tests/support/typed_input.h"
#include "tests/unit/ravc/shell_fixture.h"

namespace {

bool ctrl_c_around_system;

}  // namespace

// The C library's, with a Ctrl-C just before and just after it where a test wants that.
extern "C" int system(const char *command) {
    static const auto real = reinterpret_cast<int (*)(const char *)>(dlsym(RTLD_NEXT, "system"));
    if (ctrl_c_around_system) raise(SIGINT);
    const int status = real(command);
    if (ctrl_c_around_system) raise(SIGINT);
    return status;
}

namespace {

const char ok[] = "Status: OK\n";
const char denied[] = "[9001] Request denied\n";

void deny_all(test::Peer &peer) {
    while (const auto request = peer.request()) peer.fail(*request, 9001, "Request denied");
}

class Device : public ShellFixture {
 protected:
    Device() : ShellFixture(test::answer_all()) {}
};

class DeniedDevice : public ShellFixture {
 protected:
    DeniedDevice() : ShellFixture(deny_all) {}
};

TEST_F(Device, RebootTakesForceAndOneMode) {
    EXPECT_EQ(run(process_reboot, "reboot"), (Outcome{0, ok}));
    EXPECT_EQ(run(process_reboot, "reboot", {"-f"}), (Outcome{0, ok}));
    EXPECT_EQ(run(process_reboot, "reboot", {"-f", "-f"}), (Outcome{0, ok}));
    EXPECT_EQ(run(process_reboot, "reboot", {"Router"}), (Outcome{0, ok}));
    EXPECT_EQ(run(process_reboot, "reboot", {"Router", "-f"}), (Outcome{0, ok}));
    EXPECT_EQ(sent(), (Sent{"Reboot {}", R"(Reboot {"Force":true})", R"(Reboot {"Force":true})",
                            R"(Reboot {"DeviceMode":"Router"})", R"(Reboot {"DeviceMode":"Router","Force":true})"}));
}

TEST_F(Device, RebootRefusesASecondModeAndAThirdWord) {
    const Outcome syntax = {-1, "syntax: Reboot [-f] [<DeviceMode>]\n"};
    EXPECT_EQ(run(process_reboot, "Reboot", {"Router", "Bridge"}), syntax);
    EXPECT_EQ(run(process_reboot, "Reboot", {"Router", "Router"}), syntax);
    EXPECT_EQ(run(process_reboot, "Reboot", {"-f", "Router", "Bridge"}), syntax);
    EXPECT_EQ(run(process_reboot, "Reboot", {"-f", "-f", "-f"}), syntax);
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(DeniedDevice, RebootTellsItsSyntaxAfterTheError) {
    EXPECT_EQ(run(process_reboot, "reboot"),
              (Outcome{-1, std::string(denied) + "syntax: reboot [-f] [<DeviceMode>]\n"}));
    EXPECT_EQ(sent(), Sent{"Reboot {}"});
}

TEST_F(Device, ResetTakesAllAndTheFirstMode) {
    for (const std::vector<std::string> &words :
         {std::vector<std::string>{}, {"all"}, {"all", "all"}, {"Router", "all"}, {"Router", "Bridge"}, {"ALL"}})
        EXPECT_EQ(run(process_reset, "reset", words), (Outcome{0, ok}));
    EXPECT_EQ(sent(), (Sent{"FactoryReset {}", R"(FactoryReset {"CleanAll":true})", R"(FactoryReset {"CleanAll":true})",
                            R"(FactoryReset {"DeviceMode":"Router","CleanAll":true})",
                            R"(FactoryReset {"DeviceMode":"Router"})", R"(FactoryReset {"DeviceMode":"ALL"})"}));
}

TEST_F(Device, ResetHasASyntaxLineOfItsOwn) {
    EXPECT_EQ(run(process_reset, "reset", {"a", "b", "c"}), (Outcome{-1, "syntax: reset <DeviceMode> [all]\n"}));
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(Device, ResetGoesWithoutAnyArguments) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(process_reset(nullptr, nullptr), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), ok);
    EXPECT_EQ(sent(), Sent{"FactoryReset {}"});
}

TEST_F(Device, SaveGivesARestorePointItsName) {
    EXPECT_EQ(run(process_save, "save"), (Outcome{0, ok}));
    EXPECT_EQ(run(process_save, "save", {"before", "ignored"}), (Outcome{0, ok}));
    EXPECT_EQ(sent(), (Sent{"SaveConfig ", R"(SaveConfig {"RestorePointName":"before"})"}));
}

TEST_F(DeniedDevice, ResetAndSaveReturnZeroAllTheSame) {
    EXPECT_EQ(run(process_reset, "reset"), (Outcome{0, denied}));
    EXPECT_EQ(run(process_save, "save"), (Outcome{0, denied}));
}

TEST_F(Device, UploadTakesThreeTypesAndPrintsNothing) {
    for (const char *word : {"config", "buildconfig", "log"})
        EXPECT_EQ(run(process_upload, "upload", {word, "ftp://host/x"}), (Outcome{0, ""}));
    EXPECT_EQ(run(process_upload, "upload", {"log", "ftp://host/", "name"}), (Outcome{0, ""}));
    EXPECT_EQ(sent(), (Sent{R"(Upload {"FileType":"Config","URL":"ftp://host/x"})",
                            R"(Upload {"FileType":"BuildConfig","URL":"ftp://host/x"})",
                            R"(Upload {"FileType":"Log","URL":"ftp://host/x"})",
                            R"(Upload {"FileType":"Log","URL":"ftp://host/","TargetFileName":"name"})"}));
}

TEST_F(Device, UploadRefusesOtherTypesAndCounts) {
    const Outcome syntax = {-1, "syntax: upload config <remote_url> [<target_file_name>]\n"};
    for (const std::vector<std::string> &words : {std::vector<std::string>{},
                                                  {"config"},
                                                  {"config", "a://b", "c", "d"},
                                                  {"Config", "a://b"},
                                                  {"file", "a://b"}})
        EXPECT_EQ(run(process_upload, "upload", words), syntax);
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(Device, UploadOnTheSameMachineNeedsAFileThatIsThere) {
    test::TempDir dir;
    const std::string real = std::filesystem::canonical(dir.path());
    EXPECT_EQ(run(process_upload, "upload", {"config", dir.path() + "/../" + dir.path().substr(5)}), (Outcome{0, ""}));
    EXPECT_EQ(sent(), Sent{R"(Upload {"FileType":"Config","URL":"file://)" + real + "\"}"});
    EXPECT_EQ(run(process_upload, "upload", {"config", dir.path() + "/missing"}),
              (Outcome{-1, "syntax: upload config <remote_url> [<target_file_name>]\n"}));
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(DeniedDevice, UploadTellsWhatFailed) {
    EXPECT_EQ(run(process_upload, "upload", {"config", "a://b"}), (Outcome{-1, denied}));
}

class RemoteDevice : public ShellFixture {
 protected:
    RemoteDevice() : ShellFixture(test::answer_all(), test::FakeDaemon::Over::tcp) {}
};

TEST_F(RemoteDevice, UploadOfNoUrlHasAnEmptyOne) {
    EXPECT_EQ(run(process_upload, "upload", {"config", "/tmp"}), (Outcome{0, ""}));
    EXPECT_EQ(sent(), Sent{R"(Upload {"FileType":"Config","URL":""})"});
}

// The methods of debug end with a hang-up of the parent: a child of the test is that here.
struct Debugged {
    int parent_status;
    std::string text;
};

class Debug : public Device, protected test::TypedInput {
 protected:
    Debugged run_debug(const std::string &word) {
        testing::internal::CaptureStdout();
        const int status = test::end_of_process([&] {
            signal(SIGHUP, SIG_DFL);
            json_auto_t *args = json_pack("[s]", word.c_str());
            test::end_of_process([&] { process_debug("debug", args); });
        });
        return {status, testing::internal::GetCapturedStdout()};
    }
};

const char relogin[] = "You must log out and log back in for the changes to take effect.\n";
const char prompt[] = "[ravc] password for current user: \n";

TEST_F(Debug, DisabledGoesWithoutAPassword) {
    const Debugged result = run_debug("DISABLED");
    EXPECT_EQ(result.text, std::string(ok) + relogin);
    EXPECT_TRUE(WIFSIGNALED(result.parent_status) && WTERMSIG(result.parent_status) == SIGHUP);
    EXPECT_EQ(sent(),
              Sent{R"(Execute {"Path":"Device.System.Debug","ParameterList":[{"Name":"Mode","Value":"Disabled"},)"
                   R"({"Name":"UserPassword","Value":null}]})"});
}

TEST_F(Debug, OtherModesAskForThePassword) {
    type("secret\nother\n");
    EXPECT_EQ(run_debug("temporary").text, std::string(prompt) + ok + relogin);
    EXPECT_EQ(run_debug("perManent").text, std::string(prompt) + ok + relogin);
    EXPECT_EQ(sent(),
              (Sent{R"(Execute {"Path":"Device.System.Debug","ParameterList":[{"Name":"Mode","Value":"Temporary"},)"
                    R"({"Name":"UserPassword","Value":"secret"}]})",
                    R"(Execute {"Path":"Device.System.Debug","ParameterList":[{"Name":"Mode","Value":"Permanent"},)"
                    R"({"Name":"UserPassword","Value":"other"}]})"}));
}

TEST_F(Device, DebugRefusesOtherModes) {
    for (const std::vector<std::string> &words : {std::vector<std::string>{}, {"on"}, {"disable"}, {""}})
        EXPECT_EQ(run(process_debug, "debug", words), (Outcome{-1, "syntax: change system debug mode\n"}));
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(DeniedDevice, DebugThatIsRefusedHangsNobodyUp) {
    EXPECT_EQ(run(process_debug, "debug", {"disabled"}), (Outcome{0, denied}));
}

TEST_F(Device, ShRunsItsWordsJoined) {
    EXPECT_EQ(run(process_sh, "sh", {"echo", "a  b;", "echo", "$((1", "+", "2))"}), (Outcome{0, "a b\n3\n"}));
    // The last blank is there.
    EXPECT_EQ(run(process_sh, "sh", {"printf", "'<%s>'", "x", "\\"}), (Outcome{0, "<x>< >"}));
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(Device, ShReturnsZeroWhateverTheCommandDoes) {
    EXPECT_EQ(run(process_sh, "sh", {"exit", "7"}), (Outcome{0, ""}));
    EXPECT_EQ(run(process_sh, "sh", {"kill", "-9", "$$"}), (Outcome{0, ""}));
}

class TypedShell : public Device, protected test::TypedInput {};

TEST_F(TypedShell, ShWithoutWordsIsAShell) {
    type("echo inner; exit 3\n");
    end_of_input();
    EXPECT_EQ(run(process_sh, "sh"), (Outcome{0, "inner\n"}));
}

TEST_F(Device, ShLetsItsChildHaveCtrlC) {
    test::BlockedInterrupt interrupt([](int) {});
    const std::string text = run(process_sh, "sh", {"grep", "-E", "'^Sig(Blk|Ign)'", "/proc/self/status"}).text;
    const unsigned long long mask = 1ULL << (SIGINT - 1);
    unsigned long long blocked = mask, ignored = mask;
    ASSERT_EQ(sscanf(text.c_str(), "SigBlk: %llx SigIgn: %llx", &blocked, &ignored), 2) << text;
    EXPECT_EQ(blocked & mask, 0U);
    EXPECT_EQ(ignored & mask, 0U);
    sigset_t now;
    pthread_sigmask(SIG_SETMASK, nullptr, &now);
    EXPECT_TRUE(sigismember(&now, SIGINT));
}

TEST_F(Device, ShIsNotAbandonedWhileTheSystemsLockIsHeld) {
    const test::BlockedInterrupt interrupt(test::jump_out);
    testing::internal::CaptureStdout();
    ctrl_c_around_system = true;
    const bool is_abandoned = test::is_abandoned([] {
        json_auto_t *args = json_pack("[s, s]", "echo", "ran");
        process_sh("sh", args);
    });
    ctrl_c_around_system = false;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "ran\n");
    EXPECT_FALSE(is_abandoned);
    EXPECT_FALSE(rv_interrupt_pending());
}

TEST_F(Device, ShBeginsNothingAfterCtrlC) {
    const test::BlockedInterrupt interrupt(test::jump_out);
    testing::internal::CaptureStdout();
    raise(SIGINT);
    EXPECT_TRUE(test::is_abandoned([] {
        json_auto_t *args = json_pack("[s, s]", "echo", "ran");
        process_sh("sh", args);
    }));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

// What handler says when it is given a number; it ends the process.
std::string said_of_a_number(int (*handler)(const char *, json_t *)) {
    testing::internal::CaptureStderr();
    const int status = test::end_of_process([handler] {
        json_auto_t *args = json_pack("[i]", 1);
        handler("name", args);
    });
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
    return testing::internal::GetCapturedStderr();
}

TEST(Arguments, ThatAreNoTextsAreAProgrammingError) {
    const std::string begin = "args must be an array of strings \\(arg != NULL\\) at func ";
    const std::string end = ":[0-9]+ \\(ravc/commands\\)\n";
    const std::string of_reboot = said_of_a_number(process_reboot), of_reset = said_of_a_number(process_reset);
    EXPECT_TRUE(std::regex_match(of_reboot, std::regex(begin + "process_reboot" + end))) << of_reboot;
    EXPECT_TRUE(std::regex_match(of_reset, std::regex(begin + "process_reset" + end))) << of_reset;
}

}  // namespace
