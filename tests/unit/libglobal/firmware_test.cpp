// The order of firmware versions.
#include "rv/firmware.h"

#include <string>

#include <gtest/gtest.h>

namespace {

struct Case {
    const char *current, *next;
    int expected;
};

// Held both ways: what is newer in one direction is older in the other.
void expect(const Case &c) {
    EXPECT_EQ(rv_firmware_version_cmp(c.current, c.next), c.expected) << c.current << " -> " << c.next;
    EXPECT_EQ(rv_firmware_version_cmp(c.next, c.current), -c.expected) << c.next << " -> " << c.current;
}

TEST(FirmwareVersion, FirstNumberThatDiffersDecides) {
    for (const Case &c : {Case{"1.2.3", "1.2.4", 1},
                          {"1.2.9", "1.2.10", 1},
                          {"1.2.3", "1.3.0", 2},
                          {"1.9.9", "1.10.0", 2},
                          {"1.9.9", "2.0.0", 3},
                          {"9.0.0", "10.0.0", 3},
                          {"1.2.3-a", "1.2.4-a", 1},
                          {"1.2.3-a-b", "2.2.3-a-b", 3}})
        expect(c);
}

TEST(FirmwareVersion, EqualOnes) {
    for (const Case &c : {Case{"1.2.3", "1.2.3", 0},
                          {"1.2.3", "01.002.3", 0},
                          {"0.0.0", "00.0.000", 0},
                          {"1.2.3-x", "1.02.3-x", 0},
                          {"", "", 0},
                          {"odd", "odd", 0}})
        expect(c);
}

TEST(FirmwareVersion, AnotherBranchIsAnotherLineOfFirmware) {
    for (const Case &c : {Case{"1.2.3", "1.2.3-a", RV_FIRMWARE_BRANCH},
                          {"1.2.3-a", "1.2.3-b", RV_FIRMWARE_BRANCH},
                          {"9.9.9-a", "1.0.0-b", -RV_FIRMWARE_BRANCH},
                          {"1.2.3-A", "1.2.3-a", RV_FIRMWARE_BRANCH},
                          {"1.2.3", "9.9.9-a", RV_FIRMWARE_BRANCH}})
        expect(c);
}

TEST(FirmwareVersion, OtherFormsGoByTheirBytes) {
    for (const char *odd : {"", "1", "1.2", "1.2.3.4", "1.2.", "1..3", "a.b.c", "1.2.3-", "1.2.3 ", " 1.2.3", "1.2.3+a",
                            "-1.2.3", "+1.2.3", "1.2.0x3", "v1.2.3", "1.2.\xc3\xa4"}) {
        const std::string text(odd), sound = "1.2.3";
        const int expected = sound > text ? RV_FIRMWARE_BRANCH : -RV_FIRMWARE_BRANCH;
        expect({odd, sound.c_str(), expected});
    }
    expect({"abc", "abd", RV_FIRMWARE_BRANCH});
    expect({"1.2.3-z", "1.2.3-\xc3\xa4", RV_FIRMWARE_BRANCH});  // bytes are unsigned
}

TEST(FirmwareVersion, NumbersHaveNoLimit) {
    expect({"18446744073709551615.0.0", "18446744073709551616.0.0", 3});
    const std::string large = "1.0." + std::string(10'000, '9'), larger = "1.0.1" + std::string(10'000, '0');
    expect({large.c_str(), larger.c_str(), 1});
}

TEST(FirmwareVersion, CodesAreFixed) {
    EXPECT_EQ(RV_FIRMWARE_BUILD, 1);
    EXPECT_EQ(RV_FIRMWARE_MINOR, 2);
    EXPECT_EQ(RV_FIRMWARE_MAJOR, 3);
    EXPECT_EQ(RV_FIRMWARE_BRANCH, 2147483647);
}

}  // namespace
