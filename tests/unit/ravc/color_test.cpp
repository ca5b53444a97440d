// The command color, and the table behind it.
#include <algorithm>

#include "ravc/shell/colors.h"
#include "tests/unit/ravc/shell_fixture.h"

namespace {

constexpr rv_hsv defaults[COLOR_ENTRIES] = {{0, 100, 100}, {220, 78, 100}, {50, 100, 55}, {120, 100, 55}};

class Color : public testing::Test {
 protected:
    ~Color() override { colors_apply(defaults); }

    static Outcome run(const std::vector<std::string> &words, const char *name = "color") {
        json_auto_t *args = json_array();
        for (const std::string &word : words) json_array_append_new(args, json_string(word.c_str()));
        testing::internal::CaptureStdout();
        const int result = process_color(name, args);
        return {result, testing::internal::GetCapturedStdout()};
    }

 private:
    const ColorScope plain_{0};
};

const char syntax[] = "syntax: color <prompt|root-prompt|autocomplete|hint> [<hue>|* <saturation>|* <value>|*]\n";

TEST_F(Color, ShowsTheDefaults) {
    EXPECT_EQ(run({"root-prompt"}), (Outcome{0, "0 100 100\n"}));
    EXPECT_EQ(run({"prompt"}), (Outcome{0, "220 78 100\n"}));
    EXPECT_EQ(run({"autocomplete"}), (Outcome{0, "50 100 55\n"}));
    EXPECT_EQ(run({"hint"}), (Outcome{0, "120 100 55\n"}));
}

TEST_F(Color, ChangesWhatIsGiven) {
    EXPECT_EQ(run({"prompt", "*", "*", "50"}), (Outcome{0, "220 78 50\n"}));
    EXPECT_EQ(run({"prompt", "10"}), (Outcome{0, "10 78 50\n"}));
    EXPECT_EQ(run({"prompt", "*", "3"}), (Outcome{0, "10 3 50\n"}));
    EXPECT_EQ(run({"prompt"}), (Outcome{0, "10 3 50\n"}));
    EXPECT_EQ(run({"hint"}), (Outcome{0, "120 100 55\n"}));
    EXPECT_EQ(color_of(COLOR_PROMPT).value, 50);
}

TEST_F(Color, NumbersThatDoNotFitAreCutToTheirFields) {
    EXPECT_EQ(run({"hint", "400"}).text, "400 100 55\n");
    EXPECT_EQ(run({"hint", "70000"}).text, "4464 100 55\n");
    EXPECT_EQ(run({"hint", "65535", "255", "256"}).text, "65535 255 0\n");
    EXPECT_EQ(run({"hint", "4294967295", "300", "511"}).text, "65535 44 255\n");
}

TEST_F(Color, TakesNothingElse) {
    EXPECT_EQ(run({}), (Outcome{-1, syntax}));
    EXPECT_EQ(run({"blue"}), (Outcome{-1, syntax}));
    EXPECT_EQ(run({"Hint"}), (Outcome{-1, syntax}));
    for (const char *number : {"-1", "x", "", "1 ", "0x10", "4294967296", "1.5"}) {
        EXPECT_EQ(run({"hint", number}), (Outcome{-1, syntax})) << number;
        EXPECT_EQ(run({"hint", "1", "*", number}), (Outcome{-1, syntax})) << number;
    }
    EXPECT_EQ(run({"hint"}).text, "120 100 55\n");  // nothing was changed
    EXPECT_EQ(run({}, "c").text.substr(0, 10), "syntax: c ");
}

TEST_F(Color, ShowsItInTheNewColour) {
    const ColorScope coloured(1);
    setenv("COLORTERM", "truecolor", 1);
    EXPECT_EQ(run({"hint", "0", "100", "100"}).text, "\033[38;2;255;0;0m0 100 100\n\033[0m");
    unsetenv("COLORTERM");
}

}  // namespace
