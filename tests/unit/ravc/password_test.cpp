// The password prompt where standard input is no terminal: what it reads, and what it leaves to others.
#include "ravc/main/password.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <signal.h>

#include "tests/support/typed_input.h"

namespace {

using Password = std::unique_ptr<char, decltype(&password_free)>;

class PasswordPrompt : public testing::Test, protected test::TypedInput {
 protected:
    std::string ask() {
        testing::internal::CaptureStdout();
        const Password password(password_prompt("[ravc] password for %s: ", "joe"), password_free);
        printed_ = testing::internal::GetCapturedStdout();
        return password.get();
    }

    std::string printed_;
};

TEST_F(PasswordPrompt, ReadsOneLineAndShowsThePromptAlone) {
    type("secret\n");
    EXPECT_EQ(ask(), "secret");
    EXPECT_EQ(printed_, "[ravc] password for joe: \n");
}

TEST_F(PasswordPrompt, LeavesWhatFollowsToOthers) {
    type("one\ntwo\n");
    EXPECT_EQ(ask(), "one");
    EXPECT_EQ(ask(), "two");
}

TEST_F(PasswordPrompt, IsEmptyAtTheEndOfInput) {
    end_of_input();
    EXPECT_EQ(ask(), "");
    EXPECT_EQ(printed_, "[ravc] password for joe: \n");
}

TEST_F(PasswordPrompt, LastLineNeedsNoLineEnd) {
    type("secret");
    end_of_input();
    EXPECT_EQ(ask(), "secret");
}

TEST_F(PasswordPrompt, HasNoLimit) {
    const std::string text(10000, 'x');
    type(text + "\n");
    EXPECT_EQ(ask(), text);
}

volatile sig_atomic_t taken;

TEST_F(PasswordPrompt, GivesCtrlCToWhoeverHandlesIt) {
    struct sigaction before, noting = {};
    noting.sa_handler = [](int) { taken = 1; };
    sigaction(SIGINT, &noting, &before);
    sigset_t interrupt, mask;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, &mask);
    taken = 0;
    type("half");
    raise(SIGINT);  // pending: let in by the prompt's wait
    EXPECT_EQ(ask(), "");
    EXPECT_EQ(taken, 1);
    struct sigaction after;
    sigaction(SIGINT, &before, &after);
    EXPECT_EQ(after.sa_handler, noting.sa_handler);
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
}

}  // namespace
