// The attribute sheet against the cases in tests/data/attr_sheet, and ranges.
#include "ravc/commands/attr_sheet.h"

#include <gtest/gtest.h>

#include "ravc/commands/format_range.h"
#include "tests/support/color_scope.h"
#include "tests/support/data_cases.h"

namespace {

class AttrSheet : public testing::TestWithParam<DataCase> {};

TEST_P(AttrSheet, PrintsTheLines) {
    const ColorScope plain(0);
    json_auto_t *attributes = json_loads(GetParam().read("input").c_str(), 0, nullptr);
    ASSERT_NE(attributes, nullptr);
    json_auto_t *node = json_pack("{s:O}", "#attr", attributes);
    testing::internal::CaptureStdout();
    print_attr_sheet("A.B", node, attributes);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), GetParam().read("output"));
}

INSTANTIATE_TEST_SUITE_P(Data, AttrSheet, testing::ValuesIn(data_cases("attr_sheet")), case_name);

std::string range(RangeKind kind, const char *low, const char *high) {
    json_auto_t *from = low ? json_loads(low, JSON_DECODE_ANY, nullptr) : nullptr;
    json_auto_t *to = high ? json_loads(high, JSON_DECODE_ANY, nullptr) : nullptr;
    std::string text = "x";
    format_range(kind, from, to, &text);
    return text;
}

TEST(FormatRange, Values) {
    EXPECT_EQ(range(RANGE_VALUE, "1", "5"), "x[1:5]");
    EXPECT_EQ(range(RANGE_VALUE, "1", nullptr), "x[1:]");
    EXPECT_EQ(range(RANGE_VALUE, nullptr, "5"), "x[:5]");
    EXPECT_EQ(range(RANGE_VALUE, nullptr, nullptr), "x");
    EXPECT_EQ(range(RANGE_VALUE, "0", "4294967295"), "x[0:-1]");  // 32 bits signed: intended
}

TEST(FormatRange, LengthsWithOneBoundLookAlike) {
    EXPECT_EQ(range(RANGE_LENGTH, "1", "64"), "x(1:64)");
    EXPECT_EQ(range(RANGE_LENGTH, "64", nullptr), "x(64)");
    EXPECT_EQ(range(RANGE_LENGTH, nullptr, "64"), "x(64)");
}

}  // namespace
