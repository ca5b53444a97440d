// Bytes become whole keys.
#include "libglobal/term/keys.h"

#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Texts = std::vector<std::string>;

Texts keys_of(std::string_view bytes) {
    rv::Keys keys;
    Texts result;
    for (const char byte : bytes) {
        std::string key = keys.add(static_cast<unsigned char>(byte));
        if (!key.empty()) result.push_back(key);
    }
    return result;
}

TEST(Keys, CharactersAreWhole) {
    EXPECT_EQ(keys_of("aé漢😀\x01"), (Texts{"a", "é", "漢", "😀", "\x01"}));
}

TEST(Keys, SequencesAreWhole) {
    EXPECT_EQ(keys_of("\033[A\033[3~\033[1;5C\033OP\033[[A\033b\033\r"),
              (Texts{"\033[A", "\033[3~", "\033[1;5C", "\033OP", "\033[[A", "\033b", "\033\r"}));
    EXPECT_EQ(keys_of("\033\033[A"), (Texts{"\033[A"}));
    EXPECT_EQ(keys_of("\033\x7f"), (Texts{"\033\x7f"}));
}

TEST(Keys, WhatIsNotUtf8IsDropped) {
    EXPECT_EQ(keys_of("a\x80\xff\xc0\xaf"
                      "b"),
              (Texts{"a", "b"}));
    EXPECT_EQ(keys_of("\xc3(\xe6\xbc"
                      "c"),
              (Texts{"(", "c"}));
    EXPECT_EQ(keys_of("\xe6\xc3\xa9"), (Texts{"é"}));
    EXPECT_EQ(keys_of("\xed\xa0\x80x\xf4\x90\x80\x80y"), (Texts{"x", "y"}));  // a surrogate; beyond the last one
    EXPECT_EQ(keys_of("\xc2\x9bz"), (Texts{"z"}));                            // a control character beyond ASCII
}

TEST(Keys, ABegunSequenceGivesWay) {
    EXPECT_EQ(keys_of("\033[1\x03x"), (Texts{"\x03", "x"}));
    EXPECT_EQ(keys_of("\033[\033[B"), (Texts{"\033[B"}));
    EXPECT_EQ(keys_of("\033é"), (Texts{"é"}));
    const Texts keys = keys_of("\033[" + std::string(1000, '1') + "xy");
    ASSERT_FALSE(keys.empty());
    EXPECT_EQ(keys.back(), "y");
}

TEST(Keys, ALoneEscapeCanBeTaken) {
    rv::Keys keys;
    EXPECT_FALSE(keys.is_escape());
    EXPECT_EQ(keys.add('\033'), "");
    EXPECT_TRUE(keys.is_escape());
    EXPECT_EQ(keys.take(), "\033");
    EXPECT_FALSE(keys.is_escape());
    EXPECT_EQ(keys.add('['), "[");
}

}  // namespace
