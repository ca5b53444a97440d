// Numbers in text, and the string hash.
#include "rv/string.h"

#include <gtest/gtest.h>
#include <string.h>

namespace {

int to_int(const char *text, int base, int32_t *value) {
    return rv_string_strntol(text, strlen(text), base, value);
}

TEST(String, IntegersToTheirBounds) {
    int32_t value = 0;
    EXPECT_EQ(to_int("2147483647", 10, &value), 0);
    EXPECT_EQ(value, INT32_MAX);
    EXPECT_EQ(to_int("-2147483648", 10, &value), 0);
    EXPECT_EQ(value, INT32_MIN);
    for (const char *text : {"2147483648", "-2147483649", "", "-", " 1", "1 ", "1x", "--1", "99999999999999999999"}) {
        value = 42;
        EXPECT_EQ(to_int(text, 10, &value), -1) << text;
        EXPECT_EQ(value, 42) << text;
    }
}

TEST(String, BaseZeroReadsThePrefix) {
    int32_t value = 0;
    const struct {
        const char *text;
        int32_t value;
    } rows[] = {{"0x1F", 31}, {"017", 15}, {"0", 0}, {"-0x10", -16}, {"9", 9}};
    for (const auto &row : rows) {
        EXPECT_EQ(to_int(row.text, 0, &value), 0) << row.text;
        EXPECT_EQ(value, row.value) << row.text;
    }
    EXPECT_EQ(to_int("08", 0, &value), -1);
    EXPECT_EQ(to_int("0x", 0, &value), -1);
}

TEST(String, UnsignedNumbersHaveNoMinus) {
    uint32_t value = 0;
    EXPECT_EQ(rv_string_strntoul("4294967295", 10, 10, &value), 0);
    EXPECT_EQ(value, UINT32_MAX);
    EXPECT_EQ(rv_string_strntoul("4294967296", 10, 10, &value), -1);
    EXPECT_EQ(rv_string_strntoul("-0", 2, 10, &value), -1);
    EXPECT_EQ(rv_string_strntoul("123", 2, 10, &value), 0);
    EXPECT_EQ(value, 12U);
}

TEST(String, DecimalsAreFinite) {
    double value = 0;
    EXPECT_EQ(rv_string_strntod("+1.5e2", 6, &value), 0);
    EXPECT_EQ(value, 150);
    for (const char *text : {"inf", "nan", "1e999", "", "1.5x"})
        EXPECT_EQ(rv_string_strntod(text, strlen(text), &value), -1) << text;
}

TEST(String, TheHashTellsNoTextFromEveryText) {
    EXPECT_EQ(rv_string_get_hash(nullptr), 0U);
    EXPECT_NE(rv_string_get_hash("a"), 0U);
    EXPECT_NE(rv_string_get_hash("a"), rv_string_get_hash("b"));
    EXPECT_EQ(rv_string_get_hash("a"), 0xE40C292CU);
}

}  // namespace
