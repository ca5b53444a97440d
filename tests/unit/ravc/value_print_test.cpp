// The value printer against the cases in tests/data/values: a JSON value, the base of its node, the text.
#include "ravc/commands/value_print.h"

#include <gtest/gtest.h>

#include "tests/support/data_cases.h"

namespace {

class ValuePrint : public testing::TestWithParam<DataCase> {
 protected:
    ValuePrint()
        : value_(json_loads(GetParam().read("input").c_str(), JSON_DECODE_ANY, nullptr)),
          node_(GetParam().has("base") ? json_pack("{s:{s:i}}", "#attr", "base", std::stoi(GetParam().read("base")))
                                       : nullptr) {}
    ~ValuePrint() override {
        json_decref(value_);
        json_decref(node_);
    }

    json_t *value_;
    json_t *node_;
};

TEST_P(ValuePrint, PrintsTheText) {
    ASSERT_NE(value_, nullptr);
    testing::internal::CaptureStdout();
    print_value(value_, node_);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), GetParam().read("output"));
}

TEST_P(ValuePrint, ColoursAllButObjects) {
    setenv("COLORTERM", "truecolor", 1);
    testing::internal::CaptureStdout();
    print_value_colored(value_, node_);
    const std::string text = GetParam().read("output");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), text.empty() ? "" : " = \033[38;2;140;117;0m" + text + "\033[0m");
}

INSTANTIATE_TEST_SUITE_P(Data, ValuePrint, testing::ValuesIn(data_cases("values")), case_name);

TEST(ValuePrintAbsent, PrintsNothing) {
    testing::internal::CaptureStdout();
    print_value(nullptr, nullptr);
    print_value_colored(nullptr, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

}  // namespace
