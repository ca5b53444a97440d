// Waits and deadlines.
#include "rv/wait.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include "libglobal/base/wait.h"

namespace {

volatile sig_atomic_t caught;

void count(int) {
    caught = caught + 1;
}

// SIGINT blocked, with a handler, for the scope of a test.
class BlockedInterrupt {
 public:
    explicit BlockedInterrupt(void (*handler)(int)) {
        caught = 0;
        struct sigaction action {};
        action.sa_handler = handler;
        sigaction(SIGINT, &action, &action_before_);
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGINT);
        pthread_sigmask(SIG_BLOCK, &set, &mask_before_);
    }
    ~BlockedInterrupt() {
        pthread_sigmask(SIG_SETMASK, &mask_before_, nullptr);
        sigaction(SIGINT, &action_before_, nullptr);
    }

 private:
    struct sigaction action_before_ {};
    sigset_t mask_before_{};
};

TEST(Wait, ADeadlineWithoutLimitIsTheLastMoment) {
    EXPECT_EQ(rv_deadline(-1), RV_NO_DEADLINE);
    EXPECT_EQ(rv_deadline(-1000), RV_NO_DEADLINE);
    EXPECT_GE(rv_deadline(1000), rv_now_ms() + 900);
}

TEST(Wait, ReadyDescriptorsAreSeenAlsoAfterTheDeadline) {
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    pollfd input{.fd = pair[0], .events = POLLIN, .revents = 0};
    EXPECT_EQ(rv_wait(&input, 1, 0), 0);
    ASSERT_EQ(write(pair[1], "x", 1), 1);
    EXPECT_EQ(rv_wait(&input, 1, 0), 1);
    EXPECT_EQ(rv_wait(&input, 1, RV_NO_DEADLINE), 1);
    close(pair[0]);
    close(pair[1]);
}

TEST(Wait, ASignalThatWasBlockedBeforeIsTakenInsideTheWait) {
    const BlockedInterrupt blocked(count);
    raise(SIGINT);
    EXPECT_EQ(caught, 0);
    EXPECT_EQ(rv_wait(nullptr, 0, RV_NO_DEADLINE), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(caught, 1);
    raise(SIGINT);
    EXPECT_EQ(rv_sleep_ms(1000000), -1);
    EXPECT_EQ(caught, 2);
}

int served;

TEST(Wait, InputThatIsAlwaysReadyKeepsNoSignalOut) {
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    ASSERT_EQ(write(pair[1], "x", 1), 1);
    const BlockedInterrupt interrupt(count);
    pollfd input{.fd = pair[0], .events = POLLIN, .revents = 0};
    raise(SIGINT);
    EXPECT_EQ(rv_wait(&input, 1, RV_NO_DEADLINE), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(caught, 1);
    EXPECT_EQ(rv_wait(&input, 1, RV_NO_DEADLINE), 1);
    for (const int fd : pair) close(fd);
}

TEST(Wait, ASleepServesWhatIsRegistered) {
    served = 0;
    rv::set_idle_service([](int64_t deadline) {
        served++;
        return rv_wait(nullptr, 0, deadline);
    });
    EXPECT_EQ(rv_sleep_ms(1), 0);
    rv::set_idle_service(nullptr);
    EXPECT_GE(served, 1);
}

}  // namespace
