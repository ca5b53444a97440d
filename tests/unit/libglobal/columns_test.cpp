// Widths, places, rows of a prompt, and lists in columns.
#include "libglobal/term/columns.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "libglobal/term/line_reader.h"
#include "libglobal/term/prompt_rows.h"
#include "libglobal/term/text.h"
#include "rv/rl.h"

namespace {

using Place = std::pair<int, int>;

Place place(std::string_view text, int columns) {
    const rv::Place end = rv::layout(text, columns);
    return {end.row, end.column};
}

TEST(Text, CharactersHaveTheirWidths) {
    EXPECT_EQ(rv::text_width("abc"), 3);
    EXPECT_EQ(rv::text_width("é漢字"), 5);
    EXPECT_EQ(rv::text_width("e\u0301"), 1);
    EXPECT_EQ(rv::text_width("\x01\x7f"), 4);
    EXPECT_EQ(rv::text_width("\xff\xfe"), 2);
    EXPECT_TRUE(rv::is_narrow("aé"));
    EXPECT_FALSE(rv::is_narrow("a漢"));
    EXPECT_FALSE(rv::is_narrow("e\u0301"));
}

TEST(Text, ControlCharactersAreKnownAndShownAsMarks) {
    EXPECT_TRUE(rv::has_control("a\033b"));
    EXPECT_TRUE(rv::has_control("a\u009bb"));
    EXPECT_FALSE(rv::has_control("aéb"));
    EXPECT_EQ(rv::printable("a\033[2J\u009b\x7f漢\n"), "a?[2J??漢?");
    EXPECT_EQ(rv::printable("a\nb\r", true), "a\nb?");
}

TEST(Text, ATextIsCut) {
    EXPECT_EQ(rv::cut_to_width("a漢e\u0301x", 4), "a漢e\u0301");
    EXPECT_EQ(rv::cut_to_width("a漢", 2), "a");
    EXPECT_EQ(rv::cut_to_width("abc", 9), "abc");
    EXPECT_EQ(rv::cut_to_width("abc", 0), "");
}

TEST(Text, ATextIsLaidOut) {
    EXPECT_EQ(place("", 10), Place(0, 0));
    EXPECT_EQ(place("123456789", 10), Place(0, 9));
    EXPECT_EQ(place("1234567890", 10), Place(1, 0));
    EXPECT_EQ(place("1234567890ab", 10), Place(1, 2));
    EXPECT_EQ(place("12345678漢", 10), Place(1, 0));
    EXPECT_EQ(place("123456789漢", 10), Place(1, 2));
    EXPECT_EQ(place("ab\ncd", 10), Place(1, 2));
    EXPECT_EQ(place("a\tb", 20), Place(0, 9));
    EXPECT_EQ(place("123456789\x01", 10), Place(1, 1));
}

TEST(PromptRows, APromptIsCutWhereItsLastRowBegins) {
    const auto cut = [](std::string_view prompt, int columns) {
        const rv::PromptRows rows = rv::split_prompt(prompt, columns);
        return rows.head + "/" + rows.tail + "/" + std::to_string(rows.head_rows);
    };
    EXPECT_EQ(cut("abc> ", 10), "/abc> /0");
    EXPECT_EQ(cut("1234567890> ", 10), "1234567890/> /1");
    EXPECT_EQ(cut("12345678> ", 10), "12345678> //1");
    EXPECT_EQ(cut("123456789漢> ", 10), "123456789/漢> /1");
    EXPECT_EQ(cut("12345678901234567890123", 10), "12345678901234567890/123/2");
    EXPECT_EQ(cut("Really?\n> ", 10), "Really?/> /1");
}

TEST(Columns, TextsRunDownTheColumns) {
    EXPECT_EQ(rv::columns({"a", "b", "c", "d", "e"}, 10, "", 0), "a  c  e\nb  d\n");
    EXPECT_EQ(rv::columns({"long name", "x"}, 10, "", 0), "long name\nx\n");
    EXPECT_EQ(rv::columns({"much longer than that"}, 10, "", 0), "much longer than that\n");
    EXPECT_EQ(rv::columns({}, 10, "", 0), "");
}

TEST(Columns, WidthsAreWhatIsSeen) {
    EXPECT_EQ(rv::columns({"漢字", "é", "x"}, 17, "", 0), "漢字  é     x\n");
    EXPECT_EQ(rv::columns({"a\033b", "c"}, 17, "", 0), "a?b   c\n");
}

TEST(Columns, RowsAreColoured) {
    EXPECT_EQ(rv::columns({"a", "b"}, 2, "<c>", 0), "<c>a\033[0m\n<c>b\033[0m\n");
}

TEST(Columns, WhatIsTooMuchIsCounted) {
    const std::vector<std::string_view> many(100000, "candidate");
    const std::string shown = rv::columns(many, 80, "", 48);
    EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), 49);
    EXPECT_TRUE(shown.ends_with("\n... and 99664 more\n")) << shown.substr(shown.size() - 40);
    EXPECT_EQ(rv::columns({"a", "b"}, 2, "", 2), "a\nb\n");
}

TEST(Columns, AListThatIsNotShownAtATerminalHasALineEach) {
    json_t *list = json_pack("[s,s]", "one", "zwölf");
    testing::internal::CaptureStdout();
    rv_rl_show_list(list);
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "one\nzwölf\n");
    json_decref(list);
}

TEST(LineReader, LinesEndAtLineFeedsAndAtTheEnd) {
    rv::LineReader reader;
    std::vector<std::string> lines;
    bool is_end = false;
    const auto add = [&](int byte) {
        if (char *line = reader.add(byte, &is_end)) {
            lines.push_back(line);
            free(line);
        }
    };
    for (const char c : std::string_view("one\ntwo\r\n\nla\rst")) add(static_cast<unsigned char>(c));
    EXPECT_EQ(lines, (std::vector<std::string>{"one", "two", ""}));
    add(-1);
    EXPECT_EQ(lines.back(), "la\rst");
    EXPECT_FALSE(is_end);
    add(-1);
    EXPECT_TRUE(is_end);
    EXPECT_EQ(lines.size(), 4u);
}

}  // namespace
