// The dialogue about a firmware image: which requests follow which answer, and what is printed.
#include "tests/unit/ravc/firmware_fixture.h"

namespace {

constexpr char pre_update[] = R"(Download {"FileType":"Firmware","URL":"a://b","NeedPreUpdate":true})";
constexpr char fetch[] = R"(Download {"FileType":"Firmware","URL":"a://b","NeedPreUpdate":false})";
constexpr char apply[] =
    R"(Download {"FileType":"Firmware","URL":"file:///state/image","NeedPreUpdate":false,"TransactionID":["any",1]})";
constexpr char cancel[] = R"(Download {"FileType":"Firmware","TransactionID":["any",1]})";
constexpr char reset[] = "FactoryReset {}";
constexpr char poll[] =
    R"(GetParameterValues {"ParameterNames":["Device.DeviceInfo.UpgradeProgress","Device.DeviceInfo.UpgradeStatus"]})";

constexpr char no_flashing[] = "Flashing: \nStatus: OK\n";

TEST_F(Firmware, WhatIsAppliedAlreadyIsOnlyWatched) {
    scene_.tell(told("0", "1.0.0", "2.0.0"));
    EXPECT_EQ(upgrade(), (Outcome{0, no_flashing}));
    EXPECT_EQ(sent(), (Sent{pre_update, fetch, poll}));
}

TEST_F(Firmware, AnEqualVersionIsNotApplied) {
    scene_.tell(told("1", "1.2.3", "1.2.3"));
    EXPECT_EQ(upgrade(), (Outcome{0, no_flashing}));
    EXPECT_EQ(sent(), (Sent{pre_update, fetch, poll}));
}

struct Row {
    const char *current, *next, *said;
};

TEST_F(Firmware, BuildsAndMinorsAreApplied) {
    for (const Row &row : {Row{"1.2.3", "1.2.4", "Build upgrade...\n"},
                           {"1.2.4", "1.2.3", "Build downgrade...\n"},
                           {"1.2.3", "1.3.0", "Minor upgrade...\n"},
                           {"1.3.0", "1.2.9", "Minor downgrade...\n"}}) {
        scene_.tell(told("1", row.current, row.next));
        EXPECT_EQ(upgrade(), (Outcome{0, std::string(row.said) + no_flashing}));
        EXPECT_EQ(sent(), (Sent{pre_update, fetch, apply, poll})) << row.said;
    }
}

TEST_F(Firmware, AnotherBranchResetsTheConfiguration) {
    for (const Row &row : {Row{"1.2.3", "1.2.3-a", ""}, {"1.2.3-b", "2.0.0-a", ""}, {"1.2.3", "odd", ""}}) {
        scene_.tell(told("1", row.current, row.next));
        EXPECT_EQ(upgrade(), (Outcome{0, std::string("Resetting config...\nStatus: OK\n") + no_flashing}));
        EXPECT_EQ(sent(), (Sent{pre_update, fetch, reset, apply, poll}));
    }
}

TEST_F(Firmware, VersionsThatAreNotToldResetNothing) {
    scene_.tell(R"({"Status":1,"NewVersion":"1.0.0","SavedFirmware":"/state/image","TransactionID":["any",1]})");
    EXPECT_EQ(upgrade(), (Outcome{0, no_flashing}));
    EXPECT_EQ(sent(), (Sent{pre_update, fetch, apply, poll}));
}

TEST_F(Firmware, WhatIsAnsweredToApplyingIsNotLookedAt) {
    scene_.tell(told("1", "1.2.3", "1.2.4"));
    scene_.refuse_what_follows();
    EXPECT_EQ(upgrade(), (Outcome{0, std::string("Build upgrade...\n") + no_flashing}));
    EXPECT_EQ(sent(), (Sent{pre_update, fetch, apply, poll}));
}

TEST_F(Firmware, AnImageIsAppliedEvenIfTheConfigurationIsNotReset) {
    scene_.tell(told("1", "1.2.3", "1.2.3-a"));
    scene_.refuse_what_follows();
    EXPECT_EQ(upgrade(), (Outcome{0, std::string("Resetting config...\n[9001] Request denied\n") + no_flashing}));
    EXPECT_EQ(sent(), (Sent{pre_update, fetch, reset, apply, poll}));
}

class MajorFirmware : public Firmware {
 protected:
    MajorFirmware() { scene_.tell(told("1", "1.9.9", "2.0.0")); }
};

TEST_F(MajorFirmware, AnyOtherAnswerKeepsTheConfiguration) {
    for (const char *answer : {"\n", "n\n", "no\n", "yes\n", "cancel\n", " y\n", "yy\n"}) {
        type(answer);
        EXPECT_EQ(upgrade(), (Outcome{0, std::string("Major upgrade...\n") + no_flashing})) << answer;
        EXPECT_EQ(sent(), (Sent{pre_update, fetch, apply, poll})) << answer;
    }
    end_of_input();
    EXPECT_EQ(upgrade().result, 0);
    EXPECT_EQ(sent(), (Sent{pre_update, fetch, apply, poll}));
}

TEST_F(MajorFirmware, YesResetsTheConfigurationFirst) {
    for (const char *answer : {"y\n", "Y\n"}) {
        type(answer);
        EXPECT_EQ(upgrade(),
                  (Outcome{0, std::string("Major upgrade...\nResetting config...\nStatus: OK\n") + no_flashing}));
        EXPECT_EQ(sent(), (Sent{pre_update, fetch, reset, apply, poll}));
    }
}

TEST_F(MajorFirmware, CancelGivesTheTransactionBackAndReturns) {
    for (const char *answer : {"c\n", "C\n"}) {
        type(answer);
        EXPECT_EQ(run(process_upgrade, "upgrade", {"a://b"}), (Outcome{0, "Major upgrade...\n"}));
        EXPECT_EQ(sent(), (Sent{pre_update, fetch, cancel}));
    }
}

TEST_F(MajorFirmware, WhatIsAnsweredToCancellingIsNotLookedAt) {
    scene_.refuse_what_follows();
    type("c\n");
    EXPECT_EQ(run(process_upgrade, "upgrade", {"a://b"}), (Outcome{0, "Major upgrade...\n"}));
    EXPECT_EQ(sent(), (Sent{pre_update, fetch, cancel}));
}

TEST_F(Firmware, AMajorDowngradeAsksToo) {
    scene_.tell(told("1", "2.0.0", "1.9.9"));
    type("c\n");
    EXPECT_EQ(run(process_upgrade, "upgrade", {"a://b"}), (Outcome{0, "Major downgrade...\n"}));
    EXPECT_EQ(sent(), (Sent{pre_update, fetch, cancel}));
}

TEST_F(Firmware, TheTargetsNameGoesWithEveryRequestButCancelling) {
    scene_.tell(told("1", "1.2.3", "1.2.4"));
    testing::internal::CaptureStdout();
    test::end_of_process([] {
        json_auto_t *args = json_pack("[s, s, s]", "firmware", "a://b", "name");
        process_download("download", args);
    });
    testing::internal::GetCapturedStdout();
    for (const std::string &request : sent())
        EXPECT_EQ(request.find(R"("TargetFileName":"name")") != std::string::npos, request != poll) << request;
}

}  // namespace
