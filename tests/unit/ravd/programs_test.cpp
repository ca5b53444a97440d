// Programs that are started: what they get, how they end, what is refused, and that nothing of them stays.
#include "ravd/handlers/programs.h"

#include <set>

#include <fcntl.h>
#include <unistd.h>

#include "tests/unit/ravd/programs_fixture.h"

namespace ravd {
namespace {

// It has ended, whether or not somebody has waited for it.
bool is_gone(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string number, name, state;
    return !(file >> number >> name >> state) || state == "Z";
}

std::string first_line_of(const std::string &path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

TEST_F(ProgramsTest, InputGoesInAndOutputComesOut) {
    script("echo", "cat");
    EXPECT_EQ(told("echo", R"({"a":1})"), R"({"a":1})");
    EXPECT_EQ(told("echo"), "");
    const std::string large(60'000, 'x');
    EXPECT_EQ(told("echo", large), large);
}

TEST_F(ProgramsTest, AProgramNeedNotReadItsInput) {
    script("deaf", "exec <&-; echo heard nothing");
    EXPECT_EQ(told("deaf", std::string(1'000'000, 'x')), "heard nothing\n");
}

TEST_F(ProgramsTest, EnvironmentDescriptorsFolderAndSignalsAreClean) {
    setenv("SECRET_OF_THE_DAEMON", "1", 1);
    const int open_one = ::open("/dev/null", O_RDONLY);  // not marked to be closed
    script(
        "look",
        "env | sort; ls /proc/self/fd | tr '\\n' ' '; pwd; echo $#; umask; grep -E 'Sig(Blk|Ign)' /proc/self/status");
    EXPECT_EQ(told("look"),
              "HOME=/\nLC_ALL=C.UTF-8\nPATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin\nPWD=/\n"
              "RAV_HANDLER=look\n0 1 2 3 /\n0\n0022\nSigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n")
        << "3 is the folder that ls reads";
    ::close(open_one);
    unsetenv("SECRET_OF_THE_DAEMON");
}

TEST_F(ProgramsTest, AProgramIsTheLeaderOfItsGroup) {
    script("group", "echo $$; ps -o pgid= -p $$ 2>/dev/null || cut -d' ' -f5 /proc/$$/stat");
    const std::string text = told("group");
    EXPECT_EQ(std::stoi(text), std::stoi(text.substr(text.find('\n'))));
}

TEST_F(ProgramsTest, HowItEndedIsTold) {
    script("three", "echo out; exit 3");
    const ProgramOutcome three = run("three");
    EXPECT_EQ(three.status, 3);
    EXPECT_EQ(three.output, "out\n");
    EXPECT_EQ(three.problem, "ended with the status 3");
    script("killed", "kill -TERM $$");
    EXPECT_EQ(told("killed"), "was ended by the signal 15");
    EXPECT_EQ(run("killed").status, -1);
}

TEST_F(ProgramsTest, WhatTakesTooLongIsKilledWithItsGroup) {
    script("hang", "sleep inf & echo $! >" + folder / "pid" + "; sleep inf");
    for (uint64_t limit = 300; first_line_of(folder / "pid").empty(); limit *= 2)  // until it gets that far in its time
        EXPECT_EQ(run("hang", "", limit).problem, "took longer than " + std::to_string(limit) + " ms");
    const pid_t child = std::stoi(first_line_of(folder / "pid"));
    EXPECT_TRUE(loop_until([&] { return is_gone(child); }));
}

TEST_F(ProgramsTest, WhatStaysBehindInTheGroupIsKilled) {
    script("leaves", "sleep inf & echo $!");
    const ProgramOutcome outcome = run("leaves");
    EXPECT_EQ(outcome.problem, "");
    const pid_t child = std::stoi(outcome.output);
    EXPECT_TRUE(loop_until([&] { return is_gone(child); }));
}

TEST_F(ProgramsTest, TooMuchOutputEndsIt) {
    script("flood", "exec yes");
    EXPECT_EQ(told("flood"), "wrote more than 65536 bytes");
    limits.output = 4;
    open();
    script("five", "echo 1234");
    EXPECT_EQ(told("five"), "wrote more than 4 bytes");
    script("four", "echo 123");
    EXPECT_EQ(told("four"), "123\n");
}

TEST_F(ProgramsTest, ComplaintsGoToTheLogAndAreBounded) {
    script("complains", "echo 'it \033 hurts' >&2; printf unended >&2; echo fine");
    testing::internal::CaptureStderr();
    EXPECT_EQ(told("complains"), "fine\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "<6>complains: it \\x1b hurts\n<6>complains: unended\n");
    script("babbles", "yes >&2; echo never");
    testing::internal::CaptureStderr();
    EXPECT_EQ(told("babbles"), "never\n");
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 201) << log.substr(log.size() - 200);
    script("zeros", "head -c 100000000 /dev/zero >&2; echo never");
    testing::internal::CaptureStderr();
    EXPECT_EQ(told("zeros"), "never\n");
    EXPECT_LT(testing::internal::GetCapturedStderr().size(), 9000U);
}

TEST_F(ProgramsTest, UnfitProgramsAreNotStarted) {
    script("good", "echo good");
    write("plain", "#!/bin/sh\n", 0644);
    write("open", "#!/bin/sh\n", 0777);
    std::filesystem::create_symlink("good", folder / "link");
    std::filesystem::create_directory(folder / "folder");
    write("broken", "#!/no/such/interpreter\n", 0755);
    EXPECT_EQ(told("good"), "good\n");
    EXPECT_EQ(told("nothing"), "No such file or directory");
    EXPECT_EQ(told("plain"), "is not executable");
    EXPECT_EQ(told("open"), "may be written by others");
    EXPECT_EQ(told("link"), "is no regular file");
    EXPECT_EQ(told("folder"), "is no regular file");
    EXPECT_EQ(told("broken"), "No such file or directory");
    for (const char *name : {"", ".", "..", "../good", "./good", "/bin/sh", "good ", ".good"})
        EXPECT_EQ(told(name), "is no name of a program") << name;
    EXPECT_EQ(programs->problem_of("good"), "");
    EXPECT_EQ(programs->problem_of("open"), "may be written by others");
    if (geteuid() == 0) {
        ASSERT_EQ(chown((folder / "good").c_str(), 1, 1), 0);
        EXPECT_EQ(told("good"), "belongs to another user");
    }
}

TEST_F(ProgramsTest, UnfitFoldersAreRefused) {
    std::string error;
    Programs others(base, limits);
    EXPECT_FALSE(others.open(folder / "nothing", "", error));
    EXPECT_EQ(error, folder / "nothing" + ": No such file or directory");
    write("file", "");
    EXPECT_FALSE(others.open(folder / "file", "", error));
    EXPECT_EQ(error, folder / "file" + ": is no folder");
    chmod(folder.path().c_str(), 0775);
    EXPECT_FALSE(others.open(folder.path(), "", error));
    EXPECT_EQ(error, folder.path() + ": may be written by others");
    EXPECT_FALSE(others.is_open());
    chmod(folder.path().c_str(), 0755);
    EXPECT_FALSE(others.open(folder.path(), "no such user", error));
    EXPECT_EQ(error, "no such user: no such user");
}

TEST_F(ProgramsTest, WithoutAFolderNothingRuns) {
    programs = std::make_unique<Programs>(base, limits);
    EXPECT_EQ(told("sh"), "can't be started: no folder of handlers was given");
}

TEST_F(ProgramsTest, AtMostEightRunAndTheRestWaitTheirTurn) {
    script("count", "echo x >>" + folder / "begun" + "; until [ -e " + folder / "go" + " ]; do sleep 0.01; done; cat");
    std::multiset<std::string> outputs;
    for (int i = 0; i < 20; i++) {
        const auto done = [&](const ProgramOutcome &each) { outputs.insert(each.output + each.problem); };
        ASSERT_NE(programs->run("count", std::to_string(i), done), Programs::none);
    }
    const auto begun = [&] {
        std::ifstream file(folder / "begun");
        return std::count(std::istreambuf_iterator<char>(file), {}, '\n');
    };
    EXPECT_TRUE(loop_until([&] { return begun() >= 8; }));
    EXPECT_EQ(begun(), 8);
    write("go", "");
    EXPECT_TRUE(loop_until([&] { return outputs.size() == 20; }));
    for (int i = 0; i < 20; i++) EXPECT_EQ(outputs.count(std::to_string(i)), 1U) << i;
}

TEST_F(ProgramsTest, TooManyThatWaitAreRefused) {
    limits.waiting = 2;
    open();
    script("echo", "cat");
    int ended = 0;
    const auto done = [&](const ProgramOutcome &) { ended++; };
    EXPECT_NE(programs->run("echo", "", done), Programs::none);
    EXPECT_NE(programs->run("echo", "", done), Programs::none);
    EXPECT_EQ(programs->run("echo", "", done), Programs::none);
    EXPECT_TRUE(loop_until([&] { return ended == 2; }));
    EXPECT_EQ(told("echo", "again"), "again");
}

TEST_F(ProgramsTest, WhatIsCancelledIsKilledAndNotTold) {
    limits.at_once = 1;
    open();
    script("hang", "echo $$ >" + folder / "pid" + "; exec sleep inf");
    script("echo", "cat");
    bool told_one = false;
    const auto done = [&](const ProgramOutcome &) { told_one = true; };
    const Programs::Id first = programs->run("hang", "", done);
    const Programs::Id second = programs->run("hang", "", done);
    EXPECT_TRUE(loop_until([&] { return !first_line_of(folder / "pid").empty(); }));
    const pid_t pid = std::stoi(first_line_of(folder / "pid"));
    EXPECT_TRUE(programs->contains(pid));
    EXPECT_FALSE(programs->contains(getpid()));
    EXPECT_FALSE(programs->contains(-1));
    programs->cancel(second);
    programs->cancel(first);
    programs->cancel(first);
    EXPECT_EQ(told("echo", "next"), "next");
    EXPECT_TRUE(is_gone(pid));
    EXPECT_FALSE(programs->contains(pid));
    EXPECT_FALSE(told_one);
}

TEST_F(ProgramsTest, NothingRunsOnPastTheirEnd) {
    script("hang", "sleep inf & echo $! >" + folder / "pid" + "; wait");
    bool told_one = false;
    programs->run("hang", "", [&](const ProgramOutcome &) { told_one = true; });
    EXPECT_TRUE(loop_until([&] { return !first_line_of(folder / "pid").empty(); }));
    const pid_t child = std::stoi(first_line_of(folder / "pid"));
    programs.reset();
    EXPECT_TRUE(loop_until([&] { return is_gone(child); }));
    EXPECT_FALSE(told_one);
}

TEST_F(ProgramsTest, ThoseThatEndAtOnceAreAllNoticed) {
    script("quick", "exit 0");
    limits.waiting = 1000;
    open();
    int ended = 0;
    for (int i = 0; i < 60; i++)
        programs->run("quick", "", [&](const ProgramOutcome &each) { ended += each.problem.empty() ? 1 : 1000; });
    EXPECT_TRUE(loop_until([&] { return ended >= 60; }));
    EXPECT_EQ(ended, 60);
}

TEST_F(ProgramsTest, MemoryAndProcessorTimeAreLimited) {
    script("limits", "ulimit -v; ulimit -t; ulimit -c");
    EXPECT_EQ(told("limits"), "524288\n31\n0\n");
}

// The bomb is a small one even where no limit holds: each generation has two members, and there are ten.
TEST_F(ProgramsTest, AUserOfTheirOwnHasFewProcesses) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can run programs as another user";
    limits.processes = 20;
    open("games");
    script("who", "id -un; id -G; grep -o 'processes  *[0-9][0-9]*' /proc/self/limits | tr -s ' '");
    EXPECT_EQ(told("who"), "games\n60\nprocesses 20\n");
    script("bomb",
           "n=${1:-start}; [ $n != start ] || { $0 10 & exec sleep inf; }\n[ $n -gt 0 ] || exec sleep inf\n"
           "$0 $((n-1)) & $0 $((n-1)) & wait");
    testing::internal::CaptureStderr();
    EXPECT_EQ(run("bomb", "", 1500).problem, "took longer than 1500 ms");
    EXPECT_NE(testing::internal::GetCapturedStderr().find("fork"), std::string::npos);
    script("after", "echo fine");
    EXPECT_EQ(told("after"), "fine\n");
}

}  // namespace
}  // namespace ravd
