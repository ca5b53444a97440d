// The line splitter against the cases in tests/data/split_line, and its word counter.
#include "ravc/commands/split_line.h"

#include <gtest/gtest.h>

#include "tests/support/data_cases.h"

namespace {

class SplitLine : public testing::TestWithParam<DataCase> {};

TEST_P(SplitLine, GivesTheWords) {
    json_auto_t *words = split_line(GetParam().read("input").c_str(), -1, nullptr);
    std::string text;
    size_t i;
    json_t *word;
    json_array_foreach(words, i, word) text += std::string(json_string_value(word)) + "\n";
    EXPECT_EQ(text, GetParam().read("output"));
}

INSTANTIATE_TEST_SUITE_P(Data, SplitLine, testing::ValuesIn(data_cases("split_line")), case_name);

TEST(SplitLineCounter, NullLineGivesNull) {
    EXPECT_EQ(split_line(nullptr, 0, nullptr), nullptr);
}

int words_before(const char *line, int cursor) {
    int count = -1;
    json_decref(split_line(line, cursor, &count));
    return count;
}

TEST(SplitLineCounter, CountsWordEndsStrictlyBeforeTheCursor) {
    EXPECT_EQ(words_before("ls Dev", 3), 1);  // on the D
    EXPECT_EQ(words_before("ls Dev", 2), 0);  // on the blank
    EXPECT_EQ(words_before("ls Dev", 6), 1);  // behind the line: the last word has not ended
    EXPECT_EQ(words_before("ls  Dev x", 8), 2);
    EXPECT_EQ(words_before("", 0), 0);
}

TEST(SplitLineCounter, CountsACommentEvenAfterAnEmptyWord) {
    EXPECT_EQ(words_before("ls # x", 6), 2);
    EXPECT_EQ(words_before("ls # x", 3), 1);
    EXPECT_EQ(words_before("#", 1), 1);
}

TEST(SplitLineCounter, IsLeftAloneWithoutACursor) {
    EXPECT_EQ(words_before("ls Dev", -1), -1);
}

}  // namespace
