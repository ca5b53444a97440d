// The sender thread: whom it serves, how long it waits, what it says, and what it leaves.
#include "ravc/commands/file_sender.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <thread>

#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include "ravc/daemon/request.h"
#include "tests/support/heard_output.h"
#include "tests/support/netcat.h"
#include "tests/unit/ravc/shell_fixture.h"

namespace {

std::atomic<bool> accept_fails;
thread_local bool socket_fails, bind_fails, listen_fails;
thread_local int waiting_at_most;  // on the socket that listens

}  // namespace

// The system's calls, but for those that a test makes fail.
extern "C" int socket(int family, int type, int protocol) noexcept {
    return socket_fails ? -1 : static_cast<int>(syscall(SYS_socket, family, type, protocol));
}

extern "C" int bind(int fd, const sockaddr *address, socklen_t size) noexcept {
    return bind_fails ? -1 : static_cast<int>(syscall(SYS_bind, fd, address, size));
}

extern "C" int listen(int fd, int backlog) noexcept {
    waiting_at_most = backlog;
    return listen_fails ? -1 : static_cast<int>(syscall(SYS_listen, fd, backlog));
}

extern "C" int accept4(int fd, sockaddr *address, socklen_t *size, int flags) {
    return accept_fails ? -1 : static_cast<int>(syscall(SYS_accept4, fd, address, size, flags));
}

namespace {

using Names = std::set<std::string>;

Names names_in(const char *folder) {
    Names names;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) names.insert(entry.path().filename());
    return names;
}

Names threads() {
    return names_in("/proc/self/task");
}

Names descriptors() {
    return names_in("/proc/self/fd");
}

// Whether there is nothing in now that was not in before.
bool adds_nothing(const Names &now, const Names &before) {
    return std::includes(before.begin(), before.end(), now.begin(), now.end());
}

template <typename Condition>
bool becomes_true(Condition condition) {
    const auto limit = std::chrono::steady_clock::now() + test::wait_limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::yield();
    }
    return true;
}

// The mask of blocked signals of the one thread that is not in before.
std::string blocked_by_new_thread(const Names &before) {
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/task")) {
        if (before.contains(entry.path().filename())) continue;
        std::ifstream status(entry.path() / "status");
        for (std::string line; std::getline(status, line);)
            if (line.starts_with("SigBlk:")) return line.substr(line.rfind('\t') + 1);
    }
    return "";
}

// A program that is connected to its daemon over TCP, and a file.
class Sender : public ShellFixture {
 protected:
    explicit Sender(test::FakeDaemon::Over over = test::FakeDaemon::Over::tcp)
        : ShellFixture(test::answer_all(), over) {
        message_auto_t *msg = request_new("Ping", nullptr);  // from its answer on, the daemon has all its threads
        EXPECT_EQ(send_request(msg, NO_TIMEOUT), 0);
        put("some content\n");
    }

    void put(const std::string &text) { std::ofstream(path_, std::ios::binary) << text; }

    // Starts the sender; what it printed is left to output_.
    int start(int patience_ms = SENDER_PATIENCE_MS) { return start_with(path_.c_str(), patience_ms); }
    int start_with(const char *path, int patience_ms = SENDER_PATIENCE_MS) {
        return file_sender_start(path, patience_ms, url_, &size_);
    }

    std::string sending_line() const {
        return "Sending file (" + path_ + ", " + std::to_string(size_) + " bytes) via netcat (" + url_ + ")...";
    }

    test::TempDir dir_;
    std::string path_ = dir_.path() + "/file";
    test::HeardOutput output_;
    char url_[SENDER_URL_SIZE] = "?";
    size_t size_ = 0;
};

TEST_F(Sender, ServesTheFileOnceAndLeavesNothing) {
    const Names threads_before = threads(), files_before = descriptors();
    ASSERT_EQ(start(), 0);
    EXPECT_EQ(size_, 13U);
    EXPECT_EQ(waiting_at_most, 1);
    EXPECT_TRUE(std::regex_match(url_, std::regex("netcat://127\\.0\\.0\\.1:[1-9][0-9]*"))) << url_;
    EXPECT_EQ(output_.line(), sending_line());
    {
        test::Netcat daemon(url_);
        EXPECT_EQ(daemon.receive_all(), "some content\n");
    }
    EXPECT_TRUE(becomes_true([&] { return adds_nothing(threads(), threads_before); }));
    EXPECT_TRUE(adds_nothing(descriptors(), files_before));
    EXPECT_FALSE(output_.has_more());
    EXPECT_FALSE(test::Netcat(url_).is_connected());
}

TEST_F(Sender, AnEmptyFileIsServedToo) {
    put("");
    ASSERT_EQ(start(), 0);
    EXPECT_EQ(output_.line(), "Sending file (" + path_ + ", 0 bytes) via netcat (" + url_ + ")...");
    test::Netcat daemon(url_);
    EXPECT_TRUE(daemon.is_connected());
    EXPECT_EQ(daemon.receive_all(), "");
}

TEST_F(Sender, AStrangerGetsNothingAndTheWaitGoesOn) {
    ASSERT_EQ(start(), 0);
    for (int i = 0; i < 3; i++) {
        test::Netcat stranger(url_, "127.0.0.2");
        ASSERT_TRUE(stranger.is_connected());
        EXPECT_EQ(stranger.receive_all(), "");
    }
    EXPECT_EQ(test::Netcat(url_).receive_all(), "some content\n");
    EXPECT_EQ(output_.line(), sending_line());
}

TEST_F(Sender, GivesUpWhenNobodyComes) {
    ASSERT_EQ(start(20), 0);
    EXPECT_EQ(output_.line(), sending_line());
    EXPECT_EQ(output_.line(), "Waiting timeout, abort.");
    EXPECT_TRUE(becomes_true([&] { return !test::Netcat(url_).is_connected(); }));
}

TEST_F(Sender, StrangersDoNotProlongTheWait) {
    ASSERT_EQ(start(20), 0);
    std::atomic<bool> over{false};
    std::thread strangers([&] {
        while (!over) test::Netcat(url_, "127.0.0.2").receive_all();
    });
    EXPECT_EQ(output_.line(), sending_line());
    EXPECT_EQ(output_.line(), "Waiting timeout, abort.");
    over = true;
    strangers.join();
}

TEST_F(Sender, SaysWhenItCanNotAccept) {
    accept_fails = true;
    ASSERT_EQ(start(), 0);
    const test::Netcat daemon(url_);
    EXPECT_EQ(output_.line(), sending_line());
    EXPECT_EQ(output_.line(), "accept() failed, abort.");
    accept_fails = false;
}

constexpr char sent_in_part[] =
    "send\\(\\) failed \\(expected 3221225472 bytes, transferred [1-9][0-9]{0,8} bytes\\), abort\\.";

// More than 2 GiB, hardly any of it on the disk.
class LargeFile : public Sender {
 protected:
    LargeFile() {
        EXPECT_EQ(truncate(path_.c_str(), off_t{3} << 30), 0);
        EXPECT_EQ(start(), 0);
        EXPECT_EQ(output_.line(), sending_line());
        EXPECT_EQ(size_, size_t{3} << 30);
    }
};

TEST_F(LargeFile, ThatIsCutMeanwhile) {
    test::Netcat daemon(url_);
    EXPECT_NE(daemon.receive(1), "");
    ASSERT_EQ(truncate(path_.c_str(), 0), 0);
    daemon.receive_all();
    const std::string said = output_.line();
    EXPECT_TRUE(std::regex_match(said, std::regex(sent_in_part))) << said;
}

TEST_F(LargeFile, ThatTheDaemonDoesNotWant) {
    test::Netcat daemon(url_);
    EXPECT_NE(daemon.receive(1), "");
    daemon.hang_up();
    const std::string said = output_.line();
    EXPECT_TRUE(std::regex_match(said, std::regex(sent_in_part))) << said;
}

TEST_F(Sender, AFileThatIsGoneBeforeTheFirstByte) {
    ASSERT_EQ(start(), 0);
    ASSERT_EQ(truncate(path_.c_str(), 0), 0);
    EXPECT_EQ(test::Netcat(url_).receive_all(), "");
    EXPECT_EQ(output_.line(), sending_line());
    EXPECT_EQ(output_.line(), "send() failed (expected 13 bytes, transferred -1 bytes), abort.");
}

TEST_F(Sender, TakesNoSignalsAndLeavesTheMaskAsItWas) {
    const Names before = threads();
    sigset_t mask_before, mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask_before);
    ASSERT_EQ(start(), 0);
    // All but SIGKILL, SIGSTOP and two that the C library keeps for itself.
    EXPECT_TRUE(becomes_true([&] { return blocked_by_new_thread(before) == "fffffffe7ffbfeff"; }));
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    for (int number = 1; number < SIGRTMIN; number++)
        EXPECT_EQ(sigismember(&mask, number), sigismember(&mask_before, number)) << number;
    test::Netcat(url_).receive_all();
}

TEST_F(Sender, RefusesWhatIsNoFile) {
    const std::string fifo = dir_.path() + "/fifo", missing = dir_.path() + "/missing";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const Names files_before = descriptors();
    for (const std::string &path : {fifo, missing, dir_.path()}) {
        EXPECT_EQ(start_with(path.c_str()), -1);
        EXPECT_EQ(output_.line(), "Cannot open file (" + path + "), aborting.");
        EXPECT_STREQ(url_, "");
    }
    EXPECT_TRUE(adds_nothing(descriptors(), files_before));
    EXPECT_FALSE(output_.has_more());
}

TEST_F(Sender, SaysWhichStepFailed) {
    socket_fails = true;
    EXPECT_EQ(start(), -1);
    socket_fails = false;
    EXPECT_EQ(output_.line(), "Cannot create server socket, aborting.");
    bind_fails = true;
    EXPECT_EQ(start(), -1);
    bind_fails = false;
    EXPECT_EQ(output_.line(), "Cannot bind server socket, aborting.");
    listen_fails = true;
    EXPECT_EQ(start(), -1);
    listen_fails = false;
    EXPECT_EQ(output_.line(), "Cannot set server socket to LISTEN state, aborting.");
    EXPECT_STREQ(url_, "");
}

TEST_F(Sender, NeedsAConnection) {
    daemon_.stop();
    rv_jrpcapi_set_destination(requests_connection(), "", daemon_.destination().c_str(), 2);  // closes
    EXPECT_EQ(start(), -1);
    EXPECT_EQ(output_.line(), "Cannot get local address, aborting.");
    EXPECT_STREQ(url_, "");
}

class Ipv6Sender : public Sender {
 protected:
    Ipv6Sender() : Sender(test::FakeDaemon::Over::tcp6) {}
};

TEST_F(Ipv6Sender, HasNoLocalAddress) {
    EXPECT_EQ(start(), -1);
    EXPECT_EQ(output_.line(), "Cannot get local address, aborting.");
    EXPECT_STREQ(url_, "");
}

}  // namespace
