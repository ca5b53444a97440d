// The list of commands.
#include "ravc/shell/help.h"

#include <sstream>

#include "tests/unit/ravc/shell_fixture.h"

namespace {

std::string help_of(std::span<const command_row> rows) {
    const ColorScope plain(0);
    testing::internal::CaptureStdout();
    help_show(rows);
    return testing::internal::GetCapturedStdout();
}

std::vector<std::string> lines_of(const std::string &text) {
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

TEST(Help, ListsEveryCommandButDebugInByteOrder) {
    const auto lines = lines_of(help_of(command_table()));
    ASSERT_EQ(lines.size(), command_table().size() - 1);
    EXPECT_TRUE(lines.front().starts_with("add <path>  "));
    EXPECT_TRUE(lines.back().starts_with("upload config "));
    EXPECT_TRUE(std::is_sorted(lines.begin(), lines.end(), [](const std::string &a, const std::string &b) {
        return a.substr(0, a.find(' ')) < b.substr(0, b.find(' '));
    }));
    for (const std::string &line : lines) EXPECT_FALSE(line.starts_with("debug"));
}

TEST(Help, PadsUsagesToTheLongest) {
    const auto lines = lines_of(help_of(command_table()));
    size_t longest = 0;
    for (const command_row &row : command_table()) longest = std::max(longest, row.usage ? strlen(row.usage) : 0);
    for (const std::string &line : lines) EXPECT_EQ(line.substr(longest, 3), " - ") << line;
}

TEST(Help, OfAFewRows) {
    const command_row rows[] = {{"b", nullptr, 1, 0, 0, nullptr, nullptr, "b <path>", "does b"},
                                {"c", nullptr, 2, 0, 0, nullptr, nullptr, "c, which has no help text", nullptr},
                                {"a", nullptr, 3, 0, 0, nullptr, nullptr, "a", "does a"}};
    EXPECT_EQ(help_of(rows), "a        - does a\nb <path> - does b\n");
    EXPECT_EQ(help_of({rows + 1, 1}), "No available help. Please refer to #15692");
    EXPECT_EQ(help_of({}), "No available help. Please refer to #15692");
}

TEST(Help, ShowsUsagesInTheirColour) {
    const command_row rows[] = {{"a", nullptr, 3, 0, 0, nullptr, nullptr, "a", "does a"}};
    setenv("COLORTERM", "truecolor", 1);
    testing::internal::CaptureStdout();
    help_show(rows);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\033[38;2;140;117;0ma\033[0m - does a\n");
    unsetenv("COLORTERM");
}

TEST(Help, IsACommandThatTakesAnyWords) {
    const std::string expected = help_of(command_table());
    const ColorScope plain(0);
    json_auto_t *args = json_pack("[s]", "x");
    testing::internal::CaptureStdout();
    EXPECT_EQ(process_help("help", args), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
}

}  // namespace
