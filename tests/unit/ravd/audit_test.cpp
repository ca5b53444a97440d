// Audit lines: what is written for which change, who is named, what is masked, and what no value can do to a line.
#include "ravd/audit.h"

#include "ravd/log.h"
#include "ravd/model/operation.h"
#include "tests/unit/ravd/member.h"
#include "tests/unit/ravd/write_fixture.h"

namespace ravd {
namespace {

class AuditTest : public WriteTest {
 protected:
    // The lines that an operation leaves in the log, without what all have. Nothing else is recorded.
    template <typename Run>
    std::string log_of(Run run) {
        testing::internal::CaptureStderr();
        model->set_recorder(&audit);
        run();
        model->set_recorder(nullptr);
        std::string log = testing::internal::GetCapturedStderr(), lines;
        constexpr std::string_view own = "<5>audit: user=- role=- peer=- method=- ";
        for (size_t end; (end = log.find('\n')) != log.npos; log.erase(0, end + 1)) {
            const std::string_view text = std::string_view(log).substr(0, end);
            lines.append(text.starts_with(own) ? text.substr(own.size()) : text).append(";");
        }
        EXPECT_EQ(log, "");
        return lines;
    }
    std::string log_of_set(const std::string &name, const std::string &value) {
        return log_of([&] { EXPECT_EQ(set_one("Device.Values." + name, value), ""); });
    }

    Audit audit;
};

TEST_F(AuditTest, ValuesBeforeAndAfter) {
    EXPECT_EQ(log_of_set("Bits", "5"), "set path=Device.Values.Bits old=0 new=5;");
    EXPECT_EQ(log_of_set("Bits", "6"), "set path=Device.Values.Bits old=5 new=6;");
    EXPECT_EQ(log_of_set("Bits", "6"), "") << "what stays as it was is no change";
}

TEST_F(AuditTest, WhatIsRefusedWritesNothing) {
    EXPECT_EQ(log_of([&] { set(pairs({{"Device.Values.Bits", "5"}, {"Device.Values.Fixed", "\"x\""}})); }), "");
    EXPECT_EQ(log_of([&] { add("Device.Static."); }), "");
    EXPECT_EQ(log_of([&] { del("Device.Box.1."); }), "");
}

TEST_F(AuditTest, NoValueCanForgeALine) {
    EXPECT_EQ(log_of_set("AdminOnly", R"("a\nb\" new=\"c\tüx")"),
              R"(set path=Device.Values.AdminOnly old="" new="a\nb\" new=\"c\t\xc3\xbcx";)");
}

TEST_F(AuditTest, SecretsAreMasked) {
    EXPECT_EQ(log_of_set("Secret", "\"canary\""), R"(set path=Device.Values.Secret old="***" new="***";)");
}

// The machine says the same already: from now on it is the user's value, which is a change of the configuration.
TEST_F(AuditTest, AValueThatTheMachineGave) {
    EXPECT_EQ(log_of_set("Live", "\"live\""), R"(set path=Device.Values.Live old="live" new="live";)");
    EXPECT_EQ(log_of_set("Live", "\"live\""), "");
    EXPECT_EQ(log_of_set("Live", "\"mine\""), R"(set path=Device.Values.Live old="live" new="mine";)");
}

TEST_F(AuditTest, InstancesThatTheMachineHasAreNobodysDoing) {
    yard.ports = {{"a", true}, {"b", true}};
    EXPECT_EQ(log_of([&] { values({"Device.Port."}); }), "");
    yard.ports = {{"b", false}, {"c", true}};
    EXPECT_EQ(log_of([&] { values({"Device.Port."}); }), "");
    EXPECT_EQ(log_of([&] { EXPECT_EQ(set_one("Device.Port.2.Enable", "true"), ""); }),
              "set path=Device.Port.2.Enable old=false new=true;");
}

TEST_F(AuditTest, AddingAndDeleting) {
    EXPECT_EQ(log_of([&] { must(add("Device.Box.")); }), "add path=Device.Box.1.;");
    EXPECT_EQ(log_of([&] { must(del("Device.Box.1")); }), "delete path=Device.Box.1.;");
}

TEST_F(AuditTest, MovingIsOneLineWhateverShifts) {
    for (int n = 0; n < 4; n++) must(add("Device.Row."));
    EXPECT_EQ(log_of([&] { EXPECT_EQ(set_one("Device.Row.4.index", "1"), ""); }),
              "move path=Device.Row.4.index old=4 new=1;");
    EXPECT_EQ(log_of([&] { EXPECT_EQ(set_one("Device.Row.4.index", "1"), ""); }), "");
}

TEST_F(AuditTest, WhatRelationsDoHasItsOwnLines) {
    for (const char *table : {"Device.Target.", "Device.Cascading.", "Device.Clearing."}) must(add(table));
    must(add("Device.Target.1.Inner."));
    must(set(pairs(
        {{"Device.Cascading.1.Ref", "\"Device.Target.1.\""}, {"Device.Clearing.1.Refs", "\"Device.Target.1.\""}})));
    EXPECT_EQ(log_of([&] { must(del("Device.Target.1")); }),
              "set path=Device.Clearing.1.Refs old=\"Device.Target.1.\" new=\"\";"
              "delete path=Device.Cascading.1.;delete path=Device.Target.1.;");
}

TEST_F(AuditTest, LongValuesAreCut) {
    const std::string shorter = "\"" + std::string(1022, 'a') + "\"", longer = "\"" + std::string(1023, '"') + "\"";
    EXPECT_EQ(audit_value(shorter), shorter);
    const std::string cut = audit_value(longer);
    EXPECT_LT(cut.size(), 2100U);
    EXPECT_TRUE(cut.ends_with("\\\"\"...")) << cut;
    EXPECT_TRUE(Json(json_loadb(cut.data(), cut.size() - 3, JSON_DECODE_ANY, nullptr)));
}

TEST_F(AuditTest, NoLevelLeavesLinesOut) {
    log_set_level(LogLevel::error);
    EXPECT_EQ(log_of_set("Bits", "5"), "set path=Device.Values.Bits old=0 new=5;");
    log_set_level(LogLevel::info);
}

TEST_F(AuditTest, WhoHasDoneIt) {
    Sessions sessions(test_uid, 16);
    TestMember member(sessions);
    EXPECT_EQ(log_of([&] {
                  const Audit::Acting acting(audit, member, "SetParameterValues");
                  set_one("Device.Values.Bits", "1");
              }),
              "<5>audit: user=- role=admin peer=\"uid 1000\" method=SetParameterValues set path=Device.Values.Bits "
              "old=0 new=1;");
    sessions.log_in(member.session(), "a\"b", Role::user, "a\"b");
    EXPECT_EQ(log_of([&] {
                  const Audit::Acting acting(audit, member, "AddObject");
                  sessions.log_out(member.session());  // who acts is who began
                  must(add("Device.Box."));
              }),
              R"(<5>audit: user="a\"b" role=user peer="uid 1000" method=AddObject add path=Device.Box.1.;)");
    EXPECT_EQ(log_of_set("Bits", "2"), "set path=Device.Values.Bits old=1 new=2;") << "nobody acts any more";
}

TEST_F(AuditTest, ExecutedMethods) {
    Operation operation;
    ASSERT_FALSE(find_operation(*model, viewer, "Device.Values.Reset", operation));
    const Json list(json_loads(R"([{"Name":"Force","Value":true}])", 0, nullptr));
    ASSERT_FALSE(read_arguments(*model, viewer, list.get(), operation));
    EXPECT_EQ(log_of([&] { audit.executed(operation); }),
              R"(execute path=Device.Values.Reset. arguments={"Force":true};)");
}

}  // namespace
}  // namespace ravd
