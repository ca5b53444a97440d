// Paths of the configuration in their shortest form, and texts joined.
#include "rv/conf.h"

#include <string>

#include <gtest/gtest.h>
#include <stdlib.h>

#include "rv/str_json.h"

namespace {

std::string canonize(const std::string &path) {
    char out[RV_CONF_PATH_SIZE];
    EXPECT_EQ(rv_conf_path_canonize(0, path.c_str(), out), 0) << path;
    return out;
}

TEST(ConfPath, DropsEmptyElementsAndTakesStepsUp) {
    EXPECT_EQ(canonize(""), "");
    EXPECT_EQ(canonize("."), "");
    EXPECT_EQ(canonize("..Device..IP."), "Device.IP");
    EXPECT_EQ(canonize("Device.IP.<"), "Device");
    EXPECT_EQ(canonize("Device.IP.<.DNS"), "Device.DNS");
    EXPECT_EQ(canonize("Device.IP.<<"), "");
    EXPECT_EQ(canonize("Device.<<<.IP"), "IP");
    EXPECT_EQ(canonize("Device.<x"), "Device.<x");
}

TEST(ConfPath, RefusesWhatDoesNotFit) {
    char out[RV_CONF_PATH_SIZE] = "old";
    EXPECT_EQ(canonize(std::string(256, 'x')), std::string(256, 'x'));
    EXPECT_EQ(rv_conf_path_canonize(0, std::string(257, 'x').c_str(), out), -1);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(canonize(std::string(254, 'x') + ".y"), std::string(254, 'x') + ".y");
    EXPECT_EQ(rv_conf_path_canonize(0, (std::string(255, 'x') + ".y").c_str(), out), -1);
    EXPECT_EQ(canonize(std::string(300, '.') + "x"), "x");
}

TEST(StrJson, JoinsTexts) {
    json_t *array = json_pack("[s, s, i, s]", "a", "", 5, "b");
    char *text = rv_str_json_join(array, " ");
    EXPECT_STREQ(text, "a   b");
    free(text);
    json_decref(array);
    text = rv_str_json_join(nullptr, " ");
    EXPECT_STREQ(text, "");
    free(text);
}

}  // namespace
