// Sorting lists of texts.
#include <string>

#include <gtest/gtest.h>

#include "rv/rl.h"

namespace {

std::string sorted(json_t *texts, int ascending) {
    json_auto_t *list = texts;
    rv_qsort_json(list, ascending);
    std::string all;
    size_t i;
    json_t *text;
    json_array_foreach(list, i, text) all +=
        (json_is_string(text) ? json_string_value(text) : "<none>") + std::string(" ");
    return all;
}

TEST(Sort, IsByteWiseBothWays) {
    EXPECT_EQ(sorted(json_pack("[s,s,s,s,s]", "b", "a.", "B", "\u00e4", "a"), 1), "B a a. b \u00e4 ");
    EXPECT_EQ(sorted(json_pack("[s,s,s,s,s]", "b", "a.", "B", "\u00e4", "a"), 0), "\u00e4 b a. a B ");
}

TEST(Sort, KeepsEqualTextsAndTakesNothingAndOne) {
    EXPECT_EQ(sorted(json_pack("[s,s,s]", "b", "a", "b"), 1), "a b b ");
    EXPECT_EQ(sorted(json_array(), 1), "");
    EXPECT_EQ(sorted(json_pack("[s]", "x"), 0), "x ");
}

TEST(Sort, ElementsThatAreNoTextsAreEmptyOnes) {
    EXPECT_EQ(sorted(json_pack("[s,i,s]", "b", 7, "a"), 1), "<none> a b ");
    EXPECT_EQ(sorted(json_pack("[i,s,s]", 7, "b", "a"), 0), "b a <none> ");
}

TEST(Sort, ManyTexts) {
    json_t *list = json_array();
    for (int i = 0; i < 3000; i++) json_array_append_new(list, json_sprintf("%04d", i * 7 % 3000));
    rv_qsort_json(list, 1);
    for (size_t i = 0; i < 3000; i++) ASSERT_EQ(std::stoul(json_string_value(json_array_get(list, i))), i);
    json_decref(list);
}

}  // namespace
