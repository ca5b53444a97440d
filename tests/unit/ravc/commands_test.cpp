// The command table and both ways of running its rows.
#include "ravc/commands.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

// What a dispatcher printed and returned.
struct Outcome {
    int result;
    std::string text;
    bool operator==(const Outcome &) const = default;
};

Outcome run(int (*dispatch)(const char *, json_t *), const char *name) {
    json_auto_t *args = json_array();
    testing::internal::CaptureStdout();
    const int result = dispatch(name, args);
    return {result, testing::internal::GetCapturedStdout()};
}

TEST(CommandTable, HoldsItsRowsInOrder) {
    const char *names[] = {"add",  "attr",     "cd",        "cat",    "catree", "clear", "color",  "debug",
                           "del",  "download", "get",       "help",   "info",   "login", "logout", "login_if_guest",
                           "ls",   "lua",      "luarecord", "opt",    "order",  "pwd",   "reboot", "reset",
                           "rm",   "save",     "select",    "set",    "record", "sh",    "touch",  "take",
                           "tree", "up",       "upgrade",   "upload", "execute"};
    ASSERT_EQ(command_table().size(), std::size(names));
    for (size_t i = 0; i < std::size(names); i++) EXPECT_STREQ(command_table()[i].name, names[i]);
}

TEST(CommandTable, RowsOfOneCommandShareItsId) {
    EXPECT_EQ(command_lookup("cat")->cmd_id, command_lookup("get")->cmd_id);
    EXPECT_EQ(command_lookup("add")->cmd_id, command_lookup("touch")->cmd_id);
    EXPECT_EQ(command_lookup("del")->cmd_id, command_lookup("rm")->cmd_id);
    EXPECT_EQ(command_lookup("attr")->cmd_id, command_lookup("info")->cmd_id);
    std::set<int> ids;
    for (const command_row &row : command_table()) ids.insert(row.cmd_id);
    EXPECT_EQ(ids.size(), command_table().size() - 4);
    EXPECT_FALSE(ids.contains(0));
}

TEST(CommandTable, HasItsIds) {
    const int ids[] = {1,  15, 4,  2,  3,  5, 6,  8,  7,  9,  2,  14, 15, 18, 20, 19, 21, 22, 23,
                       25, 26, 27, 28, 30, 7, 33, 34, 35, 29, 36, 1,  37, 38, 39, 40, 41, 12};
    ASSERT_EQ(command_table().size(), std::size(ids));
    for (size_t i = 0; i < std::size(ids); i++) EXPECT_EQ(command_table()[i].cmd_id, ids[i]) << i;
}

TEST(CommandTable, OnlyTheseAreCallableByMethod) {
    std::set<std::string> not_callable;
    for (const command_row &row : command_table())
        if (!row.method_handler) not_callable.insert(row.name);
    EXPECT_EQ(not_callable, (std::set<std::string>{"cd", "catree", "clear", "color", "help", "login_if_guest",
                                                   "luarecord", "opt", "pwd", "record", "take", "tree", "up"}));
}

TEST(CommandTable, HasTextsForHelpOnEveryRowButDebug) {
    for (const command_row &row : command_table()) {
        EXPECT_EQ(row.usage == nullptr, std::string(row.name) == "debug");
        EXPECT_EQ(row.help == nullptr, std::string(row.name) == "debug");
        EXPECT_TRUE(!row.usage || std::string(row.usage).starts_with(row.name)) << row.usage;
    }
}

struct Texts {
    const char *name, *method, *usage, *help;
};

constexpr Texts maintenance[] = {
    {"download", "Download", "download <firmware|config|file> <path_to_file> [<target_file_name>]",
     "download a file to CPE and immediately apply if firmware|config"},
    {"reboot", "Reboot", "reboot [-f] [<DeviceMode>]", "reboot device (force reboot with '-f')"},
    {"reset", "FactoryReset", "reset [all]", "reset device configuration to default"},
    {"save", "SaveConfig", "save [<name>]", "save device configuration in NVRAM"},
    {"sh", nullptr, "sh [<cmd> <...>]", "runs command (without arguments - run interactive shell"},
    {"upgrade", nullptr, "upgrade <path_to_firmware>", "upgrade CPE firmware"},
    {"upload", "Upload", "upload config <remote_url> [<target_file_name>]", "upload config to remote server"},
};

TEST(CommandTable, TellsHowADeviceIsMaintained) {
    for (const Texts &texts : maintenance) {
        const command_row *row = command_lookup(texts.name);
        ASSERT_NE(row, nullptr) << texts.name;
        EXPECT_STREQ(row->method, texts.method);
        EXPECT_STREQ(row->usage, texts.usage);
        EXPECT_STREQ(row->help, texts.help);
        EXPECT_EQ(row->handler, row->method_handler) << texts.name;
    }
}

TEST(CommandLookup, FindsByNameAndByMethodTheEarlierRowFirst) {
    EXPECT_STREQ(command_lookup("touch")->name, "touch");
    EXPECT_STREQ(command_lookup("GetParameterValues")->name, "cat");
    EXPECT_STREQ(command_lookup("DeleteObject")->name, "del");
    EXPECT_STREQ(command_lookup("AddObject")->name, "add");
    EXPECT_STREQ(command_lookup("GetParameterAttributes")->name, "attr");
    EXPECT_STREQ(command_lookup("GetParameterNames")->name, "ls");
    EXPECT_STREQ(command_lookup("?")->name, "help");
}

TEST(CommandLookup, FindsNothingElse) {
    EXPECT_EQ(command_lookup(nullptr), nullptr);
    EXPECT_EQ(command_lookup(""), nullptr);
    EXPECT_EQ(command_lookup("CAT"), nullptr);
    EXPECT_EQ(command_lookup("ca"), nullptr);
}

TEST(DispatchByName, UnknownName) {
    EXPECT_EQ(run(dispatch_by_name, "nope"), (Outcome{-1, "nope: command not found.\n"}));
    EXPECT_EQ(run(dispatch_by_name, nullptr), (Outcome{-1, "(null): command not found.\n"}));
}

TEST(DispatchByMethod, UnknownMethod) {
    EXPECT_EQ(run(dispatch_by_method, "nope"), (Outcome{-1, "nope: unknown method.\n"}));
    EXPECT_EQ(run(dispatch_by_method, nullptr), (Outcome{-1, "(null): unknown method.\n"}));
}

TEST(DispatchByMethod, QuestionMarkIsNoMethod) {
    EXPECT_EQ(run(dispatch_by_method, "?"), (Outcome{-1, "?: unknown method.\n"}));
}

TEST(DispatchByMethod, CdIsForShellsOnly) {
    EXPECT_EQ(run(dispatch_by_method, "cd"), (Outcome{-1, "cd: unknown method.\n"}));
}

// The name that a handler is given shows in its syntax line.
TEST(Dispatch, ByNameGivesTheRowsNameByMethodTheNamePassedIn) {
    const std::string rest = " config <remote_url> [<target_file_name>]\n";
    EXPECT_EQ(run(dispatch_by_name, "Upload"), (Outcome{-1, "syntax: upload" + rest}));
    EXPECT_EQ(run(dispatch_by_method, "Upload"), (Outcome{-1, "syntax: Upload" + rest}));
}

}  // namespace
