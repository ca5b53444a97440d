// A line that is typed on without readline: what is written, and when it is not.
#include "libglobal/term/open_row.h"

#include <optional>

#include <gtest/gtest.h>

namespace {

class Row : public testing::Test {
 protected:
    std::optional<std::string> typed(std::string_view line, std::string_view hint) {
        std::string output;
        if (!row_.type_on(line, hint, "<", &output)) return std::nullopt;
        return output;
    }

    rv::OpenRow row_;
};

TEST_F(Row, ACharacterIsWrittenAndNoMore) {
    row_.open("ab", "", 10);
    EXPECT_FALSE(row_.is_ahead());
    EXPECT_EQ(typed("abc", ""), "c");
    EXPECT_TRUE(row_.is_ahead());
    EXPECT_EQ(typed("abc", ""), "");
}

TEST_F(Row, AHintIsWrittenBehindItAndTheCursorComesBack) {
    row_.open("ab", "", 10);
    EXPECT_EQ(typed("abc", "def"), "c<def\033[0m\b\b\b");
    EXPECT_EQ(typed("abcd", "ef"), "d<ef\033[0m\b\b");
}

TEST_F(Row, WhatIsLeftOfALongerHintIsOverwritten) {
    row_.open("ab", "cdefg", 10);
    EXPECT_EQ(typed("abx", "yz"), "x<yz\033[0m  \b\b\b\b");
    EXPECT_EQ(typed("abx", ""), "  \b\b");
    EXPECT_EQ(typed("abxy", ""), "y");
}

TEST_F(Row, CharactersOfOneColumnAreTakenWhateverTheirBytes) {
    row_.open("", "", 10);
    EXPECT_EQ(typed("ä", "ö"), "ä<ö\033[0m\b");
    EXPECT_EQ(typed("ä漢", ""), std::nullopt);
    EXPECT_EQ(typed("ä", "漢"), std::nullopt);
    EXPECT_EQ(typed("ä\033", ""), std::nullopt);
    EXPECT_EQ(typed("äe\u0301", ""), std::nullopt) << "an accent that combines";
    EXPECT_EQ(typed("äb", ""), "b") << "nothing has changed since";
}

TEST_F(Row, TheLastColumnStaysEmpty) {
    row_.open("a", "", 4);
    EXPECT_EQ(typed("ab", "cde"), std::nullopt);
    EXPECT_FALSE(row_.is_ahead());
    EXPECT_EQ(typed("ab", "cd"), "b<cd\033[0m\b\b");
    EXPECT_EQ(typed("abc", ""), "c \b");
    EXPECT_EQ(typed("abcd", ""), "d");
    EXPECT_EQ(typed("abcde", ""), std::nullopt);
}

TEST_F(Row, AnotherLineIsNotOne) {
    row_.open("abc", "", 10);
    EXPECT_EQ(typed("ab", ""), std::nullopt);
    EXPECT_EQ(typed("xbcd", ""), std::nullopt);
    row_.close();
    EXPECT_EQ(typed("abcd", ""), std::nullopt);
}

}  // namespace
