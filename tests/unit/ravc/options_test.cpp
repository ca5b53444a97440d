// The command line, option by option: what is kept, what is printed, and the status it ends with.
#include "ravc/main/options.h"

#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr int go_on = -1;

// Parses a command line in memory that it may overwrite, as argv is.
class OptionsTest : public testing::Test {
 protected:
    ~OptionsTest() override { options_release(&options_); }

    int parse(std::vector<std::string> arguments, const char *program = "/usr/bin/ravc") {
        options_release(&options_);
        options_ = Options();
        words_ = std::move(arguments);
        words_.insert(words_.begin(), program);
        std::vector<char *> argv;
        for (std::string &word : words_) argv.push_back(word.data());
        argv.push_back(nullptr);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = options_parse(static_cast<int>(words_.size()), argv.data(), &options_);
        out_ = testing::internal::GetCapturedStdout();
        err_ = testing::internal::GetCapturedStderr();
        return status;
    }

    std::string args() const {
        char *text = json_dumps(options_.command_args, JSON_COMPACT);
        std::string copy(text);
        free(text);
        return copy;
    }

    std::vector<uint32_t> groups() const { return {options_.groups, options_.groups + options_.group_count}; }

    Options options_;
    std::vector<std::string> words_;
    std::string out_;
    std::string err_;
};

TEST_F(OptionsTest, NoneIsTheInteractiveMode) {
    EXPECT_EQ(parse({}), go_on);
    EXPECT_EQ(options_.run_mode, MODE_INTERACTIVE);
    EXPECT_EQ(args(), "[]");
    EXPECT_EQ(out_ + err_, "");
}

TEST_F(OptionsTest, EachModeOptionSetsItsMode) {
    EXPECT_EQ(parse({"-r", "cat", "A.", "B."}), go_on);
    EXPECT_EQ(options_.run_mode, MODE_REQUEST);
    EXPECT_STREQ(options_.mode_argument, "cat");
    EXPECT_EQ(args(), R"(["A.","B."])");
    EXPECT_EQ(parse({"--notify", "x", "y"}), go_on);
    EXPECT_EQ(options_.run_mode, MODE_NOTIFY);
    EXPECT_EQ(parse({"-l"}), go_on);
    EXPECT_EQ(options_.run_mode, MODE_LISTEN);
    EXPECT_EQ(parse({"--event=17", "{}"}), go_on);
    EXPECT_EQ(options_.run_mode, MODE_EVENT);
    EXPECT_EQ(options_.event_group, 17U);
    EXPECT_EQ(parse({"-S", "a.lua", "x"}), go_on);
    EXPECT_EQ(options_.run_mode, MODE_LUA_SCRIPT);
    EXPECT_STREQ(options_.script_path, "a.lua");
    EXPECT_EQ(args(), R"(["x"])");
}

TEST_F(OptionsTest, ShortScriptOptionTakesNoArgument) {
    EXPECT_EQ(parse({"-s", "file"}), go_on);
    EXPECT_EQ(options_.run_mode, MODE_SCRIPT);
    EXPECT_EQ(options_.script_path, nullptr);
    EXPECT_EQ(args(), R"(["file"])");
    EXPECT_EQ(parse({"--script=file"}), go_on);
    EXPECT_STREQ(options_.script_path, "file");
}

TEST_F(OptionsTest, TwoModesConflict) {
    EXPECT_EQ(parse({"-r", "cat", "-l"}), 1);
    EXPECT_EQ(err_, "Cannot execute 'listen' and 'request' modes simultaneously.\n");
    EXPECT_EQ(parse({"--raw", "{}", "-e", "1"}), 1);
    EXPECT_EQ(err_, "Cannot execute 'event' and 'raw' modes simultaneously.\n");
    EXPECT_EQ(parse({"-n", "a", "--raw", "{}"}), 1);
    EXPECT_EQ(err_, "Cannot execute 'raw' and 'notify' modes simultaneously.\n");
}

TEST_F(OptionsTest, LuaScriptModeIsCalledScriptWhenItComesSecond) {
    EXPECT_EQ(parse({"-s", "-S", "f"}), 1);
    EXPECT_EQ(err_, "Cannot execute 'script' and 'script' modes simultaneously.\n");
    EXPECT_EQ(parse({"-S", "f", "-s"}), 1);
    EXPECT_EQ(err_, "Cannot execute 'script' and 'script-lua' modes simultaneously.\n");
}

TEST_F(OptionsTest, InvocationNameChoosesAModeWithoutAName) {
    EXPECT_EQ(parse({}, "/usr/bin/ravc_interpreter"), go_on);
    EXPECT_EQ(options_.run_mode, MODE_SCRIPT);
    EXPECT_EQ(parse({}, "ravc_lua"), go_on);
    EXPECT_EQ(options_.run_mode, MODE_LUA_SCRIPT);
    EXPECT_EQ(parse({"-r", "cat"}, "ravc_lua"), 1);
    EXPECT_EQ(err_, "Cannot execute 'request' and 'interactive' modes simultaneously.\n");
}

TEST_F(OptionsTest, EventGroupThatIsNoNumberIsSaidAndPassedOver) {
    EXPECT_EQ(parse({"-e", "abc", "{}"}), go_on);
    EXPECT_EQ(err_, "Group id must be an integer.\n");
    EXPECT_EQ(options_.run_mode, MODE_EVENT);
    EXPECT_EQ(options_.event_group, 0U);
    EXPECT_EQ(parse({"-e", "4294967296"}), go_on);
    EXPECT_EQ(err_, "Group id must be an integer.\n");
}

TEST_F(OptionsTest, GroupsAreKeptInOrderAndEmptyPiecesSkipped) {
    EXPECT_EQ(parse({"-g", "16,,17", "-g", ",4294967295,"}), go_on);
    EXPECT_EQ(groups(), (std::vector<uint32_t>{16, 17, 4294967295}));
}

TEST_F(OptionsTest, GroupThatIsNoNumberEndsTheProgram) {
    for (const char *piece : {"x", "-1", " 2", "4294967296", "1 "}) {
        EXPECT_EQ(parse({"-g", std::string("16,") + piece + ",17"}), 1);
        EXPECT_EQ(err_, std::string("Invalid group number: '") + piece + "'.\n");
    }
}

TEST_F(OptionsTest, SixtyFourGroupsFitTheNextIsNamed) {
    std::string list;
    for (int i = 1; i <= 64; i++) list += std::to_string(i) + ",";
    EXPECT_EQ(parse({"-g", list}), go_on);
    EXPECT_EQ(options_.group_count, 64U);
    EXPECT_EQ(parse({"-g", list + "777"}), 1);
    EXPECT_EQ(err_, "Invalid group number: '777'.\n");
}

TEST_F(OptionsTest, AuthIsLoginAndPasswordOrAToken) {
    EXPECT_EQ(parse({"-a", "joe:se:cret"}), go_on);
    EXPECT_STREQ(options_.login, "joe");
    EXPECT_STREQ(options_.password, "se:cret");
    EXPECT_EQ(parse({"-a", "joe:"}), go_on);
    EXPECT_STREQ(options_.login, "joe");
    EXPECT_STREQ(options_.password, "");
    EXPECT_EQ(parse({"-a", ":secret"}), go_on);
    EXPECT_STREQ(options_.login, "");
    EXPECT_EQ(parse({"--auth=token"}), go_on);
    EXPECT_STREQ(options_.login, "token");
    EXPECT_STREQ(options_.password, "");
}

TEST_F(OptionsTest, AuthIsCutTo255Characters) {
    EXPECT_EQ(parse({"-a", std::string(300, 'l') + ":" + std::string(256, 'p')}), go_on);
    EXPECT_EQ(options_.login, std::string(255, 'l'));
    EXPECT_EQ(options_.password, std::string(255, 'p'));
    EXPECT_EQ(parse({"-a", std::string(256, 't')}), go_on);
    EXPECT_EQ(options_.login, std::string(255, 't'));
}

TEST_F(OptionsTest, AuthIsOverwrittenOnTheCommandLine) {
    EXPECT_EQ(parse({"-a", "joe:secret", "-l"}), go_on);
    EXPECT_EQ(words_[2], "**********");
}

TEST_F(OptionsTest, TimeoutIsReadAsANumberAtItsStart) {
    EXPECT_EQ(parse({"-t", "2"}), go_on);
    EXPECT_EQ(options_.timeout_seconds, 2);
    EXPECT_EQ(parse({"--timeout=abc"}), go_on);
    EXPECT_EQ(options_.timeout_seconds, 0);
    EXPECT_EQ(parse({"-t", "99999999999999999999"}), go_on);
    EXPECT_EQ(options_.timeout_seconds, 2147483647);
}

TEST_F(OptionsTest, RawMessageIsTheOnlyArgumentOfItsMode) {
    EXPECT_EQ(parse({"a", "--raw", "{}", "b"}), go_on);
    EXPECT_EQ(options_.run_mode, MODE_RAW);
    EXPECT_EQ(args(), R"(["{}"])");
}

TEST_F(OptionsTest, PathsAndSslAreKept) {
    EXPECT_EQ(parse({"-u", "/s", "-c", "/c", "--ssl"}), go_on);
    EXPECT_STREQ(options_.socket_path, "/s");
    EXPECT_STREQ(options_.config_path, "/c");
    EXPECT_TRUE(options_.ssl);
}

TEST_F(OptionsTest, ArgumentThatIsNotUtf8EndsTheProgram) {
    EXPECT_EQ(parse({"-r", "reset", "\xff"}), 1);
    EXPECT_EQ(err_, "ravc: argument 3 is not valid UTF-8\n");
    EXPECT_EQ(parse({"--raw", "\xff"}), 1);
    EXPECT_EQ(err_, "ravc: argument 2 is not valid UTF-8\n");
}

constexpr char usage[] =
    "Corvane Management System client.\n"
    "Usage: ravc [options]\n"
    "\n"
    "Options:\n"
    "\t-r, --request <name> [<params>]     Proceed request.\n"
    "\t-n, --notify <name> [<params>]      Send notify.\n"
    "\t-e, --event <id> [<params>]         Send event.\n"
    "\t-l, --listen                        Listen for incoming events (specify as -g).\n"
    "\t    --raw <json-msg>                Send raw JSON-RPC message.\n"
    "\t-t  --timeout <seconds>             Timeout for send raw JSON-RPC message\n"
    "\t-s, --script <path-to-script>       Proceed script file.\n"
    "\t-S, --lua-script <path-to-script>   Proceed Lua script file.\n"
    "\t-g, --groups <gr1>[,<gr2>,..,<grN>] Join selected groups.\n"
    "\t    --ssl                           Use SSL layer.\n"
    "\t-c, --config <path>                 Path to config file (default is \"$HOME/.local/ravc/config\").\n"
    "\t-u, --unixpath <path>               UNIX socket path to connect (default is \"/var/run/ravd.sock\").\n"
    "\t-a  --auth [login:password|token]   Authorization data.\n"
    "\t-h, --help                          Print this help message.\n"
    "\t-v, --version                       Display ravc version.\n";

TEST_F(OptionsTest, HelpIsUsageOnStandardOutput) {
    EXPECT_EQ(parse({"-h"}), 0);
    EXPECT_EQ(out_, usage);
    EXPECT_EQ(err_, "");
}

TEST_F(OptionsTest, VersionNamesTheProgram) {
    EXPECT_EQ(parse({"--version", "--nonsense"}), 0);  // ends the parse where it stands
    EXPECT_EQ(out_,
              "Corvane Management System client.\nravc version 0.2.1\n"
              "License GPL-3.0-or-later; there is no warranty.\n");
}

TEST_F(OptionsTest, UnknownOptionsGetUsageOnStandardError) {
    for (const char *option : {"-i", "-?", "-x", "--nonsense"}) {
        EXPECT_EQ(parse({option, "-h"}), 1) << option;
        EXPECT_TRUE(err_.ends_with(usage)) << err_;
    }
    EXPECT_EQ(parse({"-r"}), 1);
    EXPECT_TRUE(err_.ends_with(usage));
}

}  // namespace
