// Colours on standard output.
#include "rv/colors.h"

#include <gtest/gtest.h>
#include <stdlib.h>

namespace {

template <typename Print>
std::string printed(Print print) {
    testing::internal::CaptureStdout();
    print();
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

TEST(Colors, TheNumberedOnesAndReset) {
    rv_colors_toggle(1);
    EXPECT_EQ(printed([] { rv_colors_set(1); }), "\033[0;31m");
    EXPECT_EQ(printed([] { rv_colors_set(2); }), "\033[0;32m");
    EXPECT_EQ(printed([] { rv_colors_set(3); }), "\033[0;33m");
    EXPECT_EQ(printed([] { rv_colors_set(4); }), "");
    EXPECT_EQ(printed([] { rv_colors_reset(); }), "\033[0m");
}

TEST(Colors, NothingIsPrintedWhenTheyAreOff) {
    rv_colors_toggle(0);
    EXPECT_EQ(printed([] {
                  rv_colors_set(1);
                  rv_colors_set_hsv2({.hue = 0, .saturation = 100, .value = 100});
                  rv_colors_reset();
              }),
              "");
    rv_colors_toggle(1);
}

TEST(Colors, AHueIsWrittenInFullOrAsTheNearestOf256) {
    rv_colors_toggle(1);
    setenv("COLORTERM", "truecolor", 1);
    EXPECT_EQ(printed([] { rv_colors_set_hsv2({.hue = 120, .saturation = 100, .value = 100}); }), "\033[38;2;0;255;0m");
    unsetenv("COLORTERM");
    EXPECT_EQ(printed([] { rv_colors_set_hsv2({.hue = 120, .saturation = 100, .value = 100}); }), "\033[38;5;46m");
}

}  // namespace
