// The prompt's text.
#include "ravc/shell/prompt.h"

#include <string>

#include <gtest/gtest.h>
#include <stdio.h>

#include "ravc/main/identity.h"
#include "tests/unit/ravc/shell_fixture.h"

namespace {

class Prompt : public testing::Test {
 protected:
    ~Prompt() override {
        identity_release();
        current_path = cdpath();
        prompt_set_mode(nullptr);
    }

    static std::string of(const char *user, const std::string &path = "") {
        identity_set(user, nullptr);
        snprintf(current_path.path, sizeof current_path.path, "%s", path.c_str());
        prompt_update();
        return prompt_text();
    }
};

TEST_F(Prompt, OfAGuest) {
    EXPECT_EQ(of(nullptr), "ravc:> ");
    EXPECT_EQ(of(nullptr, "Device.Users"), "ravc:Device.Users> ");
}

TEST_F(Prompt, OfAUser) {
    EXPECT_EQ(of("joe", "Device"), "joe@ravc:Device> ");
    EXPECT_EQ(of(""), "@ravc:> ");
}

TEST_F(Prompt, ShowsTheMode) {
    of("joe", "Device");
    prompt_set_mode("lua");
    EXPECT_STREQ(prompt_text(), "joe@ravc-lua:Device> ");
    prompt_set_mode("lua(fail)");
    EXPECT_STREQ(prompt_text(), "joe@ravc-lua(fail):Device> ");
    prompt_set_mode("a mode with a long name");
    EXPECT_STREQ(prompt_text(), "joe@ravc-a mode with a :Device> ");
    prompt_set_mode("fourteen chars\xc3\xbc");
    EXPECT_STREQ(prompt_text(), "joe@ravc-fourteen chars:Device> ");
    prompt_set_mode(nullptr);
    EXPECT_STREQ(prompt_text(), "joe@ravc:Device> ");
}

TEST_F(Prompt, StaysInOneBuffer) {
    const char *text = prompt_text();
    of("joe");
    EXPECT_EQ(text, prompt_text());
}

TEST_F(Prompt, LongestThatFitsAndOneMore) {
    const std::string path(CDPATH_MAX, 'p');
    const size_t fixed = path.size() + std::string("@ravc:> ").size();
    const std::string fits(PROMPT_SIZE - 1 - fixed, 'u');
    EXPECT_EQ(of(fits.c_str(), path), fits + "@ravc:" + path + "> ");
    EXPECT_EQ(of((fits + "u").c_str(), path), fits + "u@ravc:" + path + ">");
    EXPECT_EQ(of(std::string(3000, 'u').c_str(), path), std::string(PROMPT_SIZE - 1, 'u'));
}

TEST_F(Prompt, IsCutBetweenCharacters) {
    const std::string user(PROMPT_SIZE - 2, 'u');
    EXPECT_EQ(of((user + "\xc3\xbc").c_str()), user);
    EXPECT_EQ(of((user.substr(1) + "\xc3\xbc").c_str()), user.substr(1) + "\xc3\xbc");
}

TEST_F(Prompt, LeavesOutWhatDrivesTerminals) {
    EXPECT_EQ(of("j\033]0;x\a\x7fo\r\n\te"), "j]0;xoe@ravc:> ");
    EXPECT_EQ(of("a\xc2\x9b"
                 "b\xc2\x80"
                 "c\xc2\xa0"),
              "abc\xc2\xa0@ravc:> ");  // C1
    EXPECT_EQ(of("a\xe2\x80\xae"
                 "b\xe2\x81\xa6"
                 "c\xe2\x80\xa8"
                 "d"),
              "abcd@ravc:> ");  // direction, lines
    EXPECT_EQ(of("a\x9b"
                 "b\xff"
                 "c\xc3"
                 "d\xe2\x82"),
              "abcd@ravc:> ");  // no UTF-8
    EXPECT_EQ(of("\xe2\x82\xac\xf0\x9f\x98\x80"), "\xe2\x82\xac\xf0\x9f\x98\x80@ravc:> ");
}

class PromptOfAShell : public ShellFixture {};

TEST_F(PromptOfAShell, FollowsTheCurrentPath) {
    open_shell();
    cd({"Device.IP.Interface.1"});
    EXPECT_STREQ(prompt_text(), "ravc:Device.IP.Interface.1> ");
    cd({"Nope"});
    EXPECT_STREQ(prompt_text(), "ravc:Device.IP.Interface.1> ");
    run(process_up, "up");
    EXPECT_STREQ(prompt_text(), "ravc:Device.IP.Interface> ");
    cd();
    EXPECT_STREQ(prompt_text(), "ravc:> ");
}

TEST_F(PromptOfAShell, PwdAndClear) {
    open_shell();
    EXPECT_EQ(run(process_pwd, "pwd"), (Outcome{0, ":\n"}));
    cd({"Device.IP"});
    EXPECT_EQ(run(process_pwd, "pwd", {"ignored"}), (Outcome{0, ":Device.IP\n"}));
    EXPECT_EQ(run(process_clear, "clear"), (Outcome{0, "\033[2J\033[H"}));
}

}  // namespace
