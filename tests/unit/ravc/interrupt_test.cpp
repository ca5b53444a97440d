// Ctrl-C: where it is let in, what it ends, what is left of it afterwards.
#include "ravc/shell/interrupt.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>

#include "rv/wait.h"

namespace {

bool is_pending() {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGINT);
}

bool has_default_action() {
    struct sigaction action;
    sigaction(SIGINT, nullptr, &action);
    return action.sa_handler == SIG_DFL;
}

// What a command has come to.
struct Progress {
    bool began = false, computed = false, waited = false;
};

Progress *progress_of(void *context) {
    return static_cast<Progress *>(context);
}

// Ctrl-C is pressed while this computes; then it waits.
void compute_and_wait(void *context) {
    Progress *progress = progress_of(context);
    progress->began = true;
    raise(SIGINT);
    progress->computed = true;
    rv_sleep_ms(0);
    progress->waited = true;
}

void compute(void *context) {
    raise(SIGINT);
    progress_of(context)->computed = true;
}

void compute_and_ask(void *context) {
    progress_of(context)->began = !interrupt_pending();
    raise(SIGINT);
    progress_of(context)->computed = interrupt_pending();
}

void run_another(void *context) {
    progress_of(context)->waited = run_command(compute, context);
}

// Signal mask and actions as they are, for as long as the test lasts.
class Interrupt : public testing::Test {
 protected:
    Interrupt() {
        pthread_sigmask(SIG_SETMASK, nullptr, &mask_);
        for (size_t i = 0; i < std::size(changed); i++) sigaction(changed[i], nullptr, &actions_[i]);
        interrupt_init();
    }
    ~Interrupt() override {
        signal(SIGINT, SIG_IGN);
        for (size_t i = 0; i < std::size(changed); i++) sigaction(changed[i], &actions_[i], nullptr);
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    }

    Progress progress_;

 private:
    static constexpr int changed[] = {SIGINT, SIGHUP, SIGTERM};
    sigset_t mask_ = {};
    struct sigaction actions_[std::size(changed)] = {};
};

TEST_F(Interrupt, JumpsOutOfAWaitAndNeverOutOfAComputation) {
    for (int i = 0; i < 1000; i++) {
        progress_ = {};
        EXPECT_FALSE(run_command(compute_and_wait, &progress_));
        EXPECT_TRUE(progress_.began);
        EXPECT_TRUE(progress_.computed);
        EXPECT_FALSE(progress_.waited);
        ASSERT_FALSE(is_pending());
    }
    EXPECT_TRUE(has_default_action());
}

TEST_F(Interrupt, WhatIsPendingWhenACommandEndsIsUsedUp) {
    EXPECT_TRUE(run_command(compute, &progress_));
    EXPECT_TRUE(progress_.computed);
    EXPECT_FALSE(is_pending());
    EXPECT_TRUE(has_default_action());
    interrupt_idle();
    EXPECT_EQ(rv_wait(nullptr, 0, rv_now_ms()), 0);
    EXPECT_FALSE(interrupt_taken());
}

TEST_F(Interrupt, ALongLoopIsToldOfIt) {
    EXPECT_TRUE(run_command(compute_and_ask, &progress_));
    EXPECT_TRUE(progress_.began);
    EXPECT_TRUE(progress_.computed);
    EXPECT_FALSE(interrupt_pending());
}

TEST_F(Interrupt, StaysBlockedAfterAJump) {
    run_command(compute_and_wait, &progress_);
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    EXPECT_TRUE(sigismember(&mask, SIGINT));
}

TEST_F(Interrupt, OneCommandRunsAtATime) {
    EXPECT_TRUE(run_command(run_another, &progress_));
    EXPECT_TRUE(progress_.waited);
    EXPECT_FALSE(progress_.computed);
}

TEST_F(Interrupt, IdleEndsTheWaitAndIsNotedOnce) {
    interrupt_idle();
    raise(SIGINT);
    EXPECT_FALSE(interrupt_taken());
    errno = 0;
    EXPECT_EQ(rv_wait(nullptr, 0, RV_NO_DEADLINE), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_TRUE(interrupt_taken());
    EXPECT_FALSE(interrupt_taken());
}

// In a process of its own, for what was noted stays.
[[noreturn]] void end_by(int number, void (*wait)(Progress *)) {
    Progress progress;
    raise(number);
    wait(&progress);
    exit(interrupt_ending());
}

TEST_F(Interrupt, SignalsToEndEndTheIdleWait) {
    const auto wait = [](Progress *) {
        interrupt_idle();
        if (rv_wait(nullptr, 0, RV_NO_DEADLINE) != -1 || errno != EINTR) abort();
    };
    EXPECT_EXIT(end_by(SIGTERM, wait), testing::ExitedWithCode(SIGTERM), "");
    EXPECT_EXIT(end_by(SIGHUP, wait), testing::ExitedWithCode(SIGHUP), "");
}

TEST_F(Interrupt, SignalsToEndAbandonACommand) {
    const auto wait = [](Progress *progress) {
        const auto command = [](void *context) {
            rv_sleep_ms(0);
            progress_of(context)->waited = true;
        };
        if (run_command(command, progress) || progress->waited) abort();
    };
    EXPECT_EXIT(end_by(SIGTERM, wait), testing::ExitedWithCode(SIGTERM), "");
}

TEST_F(Interrupt, IgnoredSignalsStayIgnored) {
    const auto hang_up = [] {
        signal(SIGHUP, SIG_IGN);
        interrupt_init();
        raise(SIGHUP);
        exit(interrupt_ending());
    };
    EXPECT_EXIT(hang_up(), testing::ExitedWithCode(0), "");
}

void note_in_a_command(void *context) {
    Progress *progress = progress_of(context);
    {
        const InterruptNoted scope;
        raise(SIGINT);
        progress->began = rv_wait(nullptr, 0, RV_NO_DEADLINE) == -1 && interrupt_taken();
    }
    progress->computed = true;
    raise(SIGINT);
    rv_sleep_ms(0);
    progress->waited = true;
}

TEST_F(Interrupt, WithinACommandItIsNotedAndAbandonsTheCommandLaterOn) {
    EXPECT_FALSE(run_command(note_in_a_command, &progress_));
    EXPECT_TRUE(progress_.began);
    EXPECT_TRUE(progress_.computed);
    EXPECT_FALSE(progress_.waited);
}

TEST_F(Interrupt, WhatWasNotedBeforeIsForgottenWhereItIsNoted) {
    interrupt_idle();
    raise(SIGINT);
    rv_wait(nullptr, 0, RV_NO_DEADLINE);
    const InterruptNoted scope;
    EXPECT_FALSE(interrupt_taken());
}

}  // namespace
