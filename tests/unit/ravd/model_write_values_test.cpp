// Setting values: all or none, rights, references, unique values, what a provider serves, events.
#include "tests/unit/ravd/write_fixture.h"

namespace ravd {
namespace {

TEST_F(WriteTest, AllAreSetInOrder) {
    EXPECT_EQ(set(pairs({{"Device.Values.Int", "5"}, {"Device.Values.Text", "\"x\""}})), done);
    EXPECT_EQ(get("Device.Values.Int"), "5");
    EXPECT_EQ(get("Device.Values.Text"), "\"x\"");
    EXPECT_EQ(told(), "Device.Values.Int=5 Device.Values.Text=\"x\"");
    EXPECT_EQ(set("[]"), done);
}

TEST_F(WriteTest, NoneIsSetWhenOneIsRefusedAndAllFaultsAreNamed) {
    EXPECT_EQ(set(pairs({{"Device.Values.Int", "5"},
                         {"Device.Values.None", "5"},
                         {"Device.Values.Port", "70000"},
                         {"Device.Values.Text", "5"},
                         {"Device.Values.Fixed", "\"x\""}})),
              "9003: [Device.Values.None] 9005 Invalid parameter name;"
              " [Device.Values.Port] 9007 Invalid parameter value: 70000 is above 65535;"
              " [Device.Values.Text] 9006 Invalid parameter type: string wanted;"
              " [Device.Values.Fixed] 9008 Attempt to set a non-writable parameter;");
    EXPECT_EQ(get("Device.Values.Int"), "0");
    EXPECT_EQ(told(), "");
}

TEST_F(WriteTest, WhatCanNotBeSetIsNoName) {
    for (const char *name : {"", ".", "Device", "Device.Values.", "Device.Values.Int.", "Device.Box.1.Name",
                             "Device.Box.#template.Name", "Device.Values.Reset", "Device.Values.Reset.#input.Force",
                             "device.Values.Int", "Device.Row.1.index", "Device.Row.01.index"})
        EXPECT_EQ(set_one(name, "1"), "9005 Invalid parameter name") << name;
    for (const char *name : {"Device.Row.max_instance", "Device.Row.order", "DataModelVersion"})
        EXPECT_EQ(set_one(name, "1"), "9008 Attempt to set a non-writable parameter") << name;
}

TEST_F(WriteTest, ANameTwiceIsRefused) {
    EXPECT_EQ(set(pairs({{"Device.Values.Int", "5"}, {"Device.Values.Int", "5"}})),
              "9003: [Device.Values.Int] 9003 Invalid arguments: named twice;");
    EXPECT_EQ(get("Device.Values.Int"), "0");
}

TEST_F(WriteTest, RightsAreThoseOfTheNode) {
    must(add("Device.Box."));
    const struct {
        Role role;
        const char *name, *fault;
    } rows[] = {
        {Role::admin, "Device.Values.AdminOnly", ""},
        {Role::admin, "Device.Values.Hidden", ""},
        {Role::admin, "Device.Values.WriteOnly", ""},
        {Role::admin, "Device.Box.1.Name", ""},
        {Role::user, "Device.Values.Text", ""},
        {Role::user, "Device.Values.AdminOnly", "9001 Request denied"},
        {Role::user, "Device.Values.Hidden", "9005 Invalid parameter name"},
        {Role::user, "Device.Values.WriteOnly", ""},
        {Role::user, "Device.Box.1.Name", "9001 Request denied"},
        {Role::guest, "Device.Values.Text", "9001 Request denied"},
        {Role::guest, "Device.Values.Fixed", "9008 Attempt to set a non-writable parameter"},
        {Role::guest, "Device.Values.WriteOnly", "9005 Invalid parameter name"},
        {Role::guest, "Device.Box.1.Name", "9005 Invalid parameter name"},
    };
    for (const auto &[role, name, fault] : rows) {
        viewer.role = role;
        EXPECT_EQ(set_one(name, "\"x\""), fault) << name << " " << static_cast<int>(role);
    }
}

TEST_F(WriteTest, AnUnchangedValueIsToldToNobody) {
    EXPECT_EQ(set_one("Device.Values.Int", "0"), "");  // the default
    EXPECT_EQ(set_one("Device.Values.Any", "{}"), "");
    EXPECT_EQ(told(), "");
    EXPECT_EQ(set_one("Device.Values.Int", "4"), "");
    EXPECT_EQ(set_one("Device.Values.Int", "4"), "");
    EXPECT_EQ(told(), "Device.Values.Int=4");
}

TEST_F(WriteTest, SecretsAreShownNowhere) {
    EXPECT_EQ(set_one("Device.Values.Secret", "\"canary\""), "");
    EXPECT_EQ(told(), "Device.Values.Secret=\"\"");
    EXPECT_EQ(get("Device.Values.Secret"), "\"\"");
    EXPECT_EQ(config("Device.Values.").find("canary"), std::string::npos);
    EXPECT_EQ(set_one("Device.Values.Secret", "\"canary-canary\"").find("canary"), std::string::npos);
}

TEST_F(WriteTest, ReferencesLeadToWhatExists) {
    must(add("Device.Target."));
    must(add("Device.Target.1.Inner."));
    must(add("Device.Clearing."));
    const std::string none = "9007 Invalid parameter value: ";
    EXPECT_EQ(set_one("Device.Favourite", "\"Device.Target.1\""), "");
    EXPECT_EQ(set_one("Device.Favourite", "\"Device.Target.1.\""), "");
    EXPECT_EQ(set_one("Device.Favourite", "\"\""), "");
    EXPECT_EQ(set_one("Device.Favourite", "\"Device.Target.2\""),
              none + "\"Device.Target.2\" names nothing that exists");
    EXPECT_EQ(set_one("Device.Favourite", "\"Device.Clearing.1\""),
              none + "\"Device.Clearing.1\" is no instance of Device.Target.");
    EXPECT_EQ(set_one("Device.Favourite", "\"Device.Target.\""),
              none + "\"Device.Target.\" is no instance of Device.Target.");
    EXPECT_EQ(set_one("Device.Clearing.1.Refs", "\"Device.Target.1, Device.Target.1.\""), "");
    EXPECT_EQ(set_one("Device.Clearing.1.Refs", "\"Device.Target.1,Device.Target.9\""),
              none +
                  "\"Device.Target.1,Device.Target.9\" has the item \"Device.Target.9\", which names nothing that "
                  "exists");
    EXPECT_EQ(set_one("Device.Clearing.1.InnerRef", "\"Device.Target.1.Inner.1\""), "");
    EXPECT_EQ(set_one("Device.Clearing.1.InnerRef", "\"Device.Target.1\""),
              none + "\"Device.Target.1\" is no instance of Device.Target.{i}.Inner.");
    EXPECT_EQ(set_one("Device.Values.InstanceRef", "\"Device.Target.1\""), "");
}

TEST_F(WriteTest, ReferencesDoNotTellWhatIsHidden) {
    must(add("Device.Guarding."));
    viewer.role = Role::user;
    for (const char *path : {"Device.Guarding.1", "Device.Guarding.2", "Device.Values.Hidden"})
        EXPECT_EQ(set_one("Device.Values.PathRef", "\"" + std::string(path) + "\""),
                  "9007 Invalid parameter value: \"" + std::string(path) + "\" names nothing that exists");
}

class UniqueTest : public WriteTest {
 protected:
    UniqueTest() {
        for (int i = 0; i < 3; i++) must(add("Device.Box."));
        must(set(pairs({{"Device.Box.1.Name", "\"a\""}, {"Device.Box.2.Name", "\"b\""}})));
        told();
    }
};

TEST_F(UniqueTest, AValueBelongsToOneInstance) {
    EXPECT_EQ(set_one("Device.Box.3.Name", "\"a\""), "9007 Invalid parameter value: \"a\" is taken by instance 1");
    EXPECT_EQ(set_one("Device.Box.3.Name", "\"c\""), "");
    EXPECT_EQ(set_one("Device.Box.1.Name", "\"a\""), "");
    EXPECT_EQ(set_one("Device.Box.1.Free", "\"a\""), "");
}

TEST_F(UniqueTest, EmptyTextsMayRepeat) {
    EXPECT_EQ(set(pairs({{"Device.Box.1.Name", "\"\""}, {"Device.Box.2.Name", "\"\""}})), done);
}

TEST_F(UniqueTest, WhatTheRequestLeavesBehindCounts) {
    EXPECT_EQ(set(pairs({{"Device.Box.1.Name", "\"b\""}, {"Device.Box.2.Name", "\"a\""}})), done);  // exchanged
    EXPECT_EQ(set(pairs({{"Device.Box.3.Name", "\"b\""}, {"Device.Box.1.Name", "\"x\""}})), done);  // moved on
    EXPECT_EQ(told(),
              "Device.Box.1.Name=\"b\" Device.Box.2.Name=\"a\" Device.Box.3.Name=\"b\" Device.Box.1.Name=\"x\"");
    EXPECT_EQ(set(pairs({{"Device.Box.1.Name", "\"y\""}, {"Device.Box.2.Name", "\"y\""}})),
              "9003: [Device.Box.1.Name] 9007 Invalid parameter value: \"y\" is taken by instance 2;"
              " [Device.Box.2.Name] 9007 Invalid parameter value: \"y\" is taken by instance 1;");
    // one that stays as it is holds its value
    EXPECT_EQ(set(pairs({{"Device.Box.3.Name", "\"b\""}, {"Device.Box.1.Name", "\"b\""}})),
              "9003: [Device.Box.1.Name] 9007 Invalid parameter value: \"b\" is taken by instance 3;");
}

TEST_F(UniqueTest, DefaultsRepeatUntilOneIsWritten) {
    EXPECT_EQ(get("Device.Box.1.Size"), "5");
    EXPECT_EQ(get("Device.Box.2.Size"), "5");
    EXPECT_EQ(set_one("Device.Box.1.Size", "5"), "");
    EXPECT_EQ(set_one("Device.Box.1.Size", "6"), "");
    EXPECT_EQ(set_one("Device.Box.1.Size", "5"), "9007 Invalid parameter value: 5 is taken by instance 2");
}

TEST_F(WriteTest, WhatWasSetWinsOverTheProvider) {
    EXPECT_EQ(get("Device.Values.Live"), "\"live\"");
    EXPECT_EQ(set_one("Device.Values.Live", "\"mine\""), "");
    EXPECT_EQ(get("Device.Values.Live"), "\"mine\"");
    EXPECT_EQ(told(), "Device.Values.Live=\"mine\"");
    yard.name = "other";
    EXPECT_EQ(get("Device.Values.Live"), "\"mine\"");
}

TEST_F(WriteTest, TheProvidersOwnValueCanBePinned) {
    EXPECT_EQ(set_one("Device.Values.Live", "\"live\""), "");
    EXPECT_EQ(told(), "");
    yard.name = "other";
    EXPECT_EQ(get("Device.Values.Live"), "\"live\"");
}

TEST_F(WriteTest, ValuesOfLiveInstancesStayWhileTheInstanceDoes) {
    yard.ports = {{"p0", true}, {"p1", true}};
    EXPECT_EQ(set_one("Device.Port.1.Enable", "false"), "");
    EXPECT_EQ(set_one("Device.Port.1.Note", "\"n\""), "");
    EXPECT_EQ(set_one("Device.Port.2.Enable", "true"), "");  // as it is: pinned
    yard.ports = {{"p0", true}, {"p1", false}};
    EXPECT_EQ(get("Device.Port.1.Enable"), "false");
    EXPECT_EQ(get("Device.Port.1.Note"), "\"n\"");
    EXPECT_EQ(get("Device.Port.2.Enable"), "true");
    EXPECT_EQ(told(), "Device.Port.1.Enable=false Device.Port.1.Note=\"n\"");
    yard.ports = {{"p1", false}};
    get("Device.Port.2.Enable");
    yard.ports = {{"p0", true}, {"p1", false}};
    EXPECT_EQ(get("Device.Port.3.Enable"), "true");  // another instance
}

class OrderTest : public WriteTest {
 protected:
    OrderTest() {
        for (int i = 0; i < 4; i++) must(add("Device.Row."));
        told();
    }
};

TEST_F(OrderTest, IndexIsAParameterOfEachInstance) {
    EXPECT_EQ(list(names("Device.Row.2.", true)), "Device.Row.2.Weight Device.Row.2.index");
    EXPECT_EQ(list(values({"Device.Row.2."})), "Device.Row.2.Weight Device.Row.2.index");
    EXPECT_EQ(get("Device.Row.4.index"), "4");
    const std::string attr = attributes({"Device.Row.2.index"});
    EXPECT_EQ(member(attr, "type"), "\"unsignedInt\"");
    EXPECT_EQ(member(attr, "access"), "\"readWrite\"");
    EXPECT_EQ(member(attr, "default"), "0");
    EXPECT_EQ(member(attr, "minInclusive"), "1");
    EXPECT_EQ(get("Device.Box.1.index").substr(0, 5), "9005:");
}

TEST_F(OrderTest, WritingItMovesTheInstance) {
    EXPECT_EQ(set_one("Device.Row.4.index", "2"), "");
    EXPECT_EQ(get("Device.Row.order"), "[1,4,2,3]");
    EXPECT_EQ(told(), "Device.Row.4.index=2 Device.Row.2.index=3 Device.Row.3.index=4");
    EXPECT_EQ(set_one("Device.Row.1.index", "4"), "");
    EXPECT_EQ(get("Device.Row.order"), "[4,2,3,1]");
    EXPECT_EQ(told(), "Device.Row.1.index=4 Device.Row.4.index=1 Device.Row.2.index=2 Device.Row.3.index=3");
    EXPECT_EQ(list(names("Device.Row.", true)), "Device.Row.4. Device.Row.2. Device.Row.3. Device.Row.1.");
    EXPECT_EQ(set_one("Device.Row.2.index", "2"), "");
    EXPECT_EQ(told(), "");
}

TEST_F(OrderTest, PlacesThatAreNoneAreRefused) {
    EXPECT_EQ(set_one("Device.Row.1.index", "5"), "9007 Invalid parameter value: 5 is above 4");
    EXPECT_EQ(set_one("Device.Row.1.index", "0"), "9007 Invalid parameter value: 0 is below 1");
    EXPECT_EQ(set_one("Device.Row.1.index", "-1"), "9007 Invalid parameter value: -1 is below 1");
    EXPECT_EQ(set_one("Device.Row.1.index", "\"1\""), "9006 Invalid parameter type: unsignedInt wanted");
    EXPECT_EQ(get("Device.Row.order"), "[1,2,3,4]");
}

TEST_F(OrderTest, GapsCloseAndNewOnesComeLast) {
    must(set_one("Device.Row.4.index", "1") + "{");
    must(del("Device.Row.1."));
    EXPECT_EQ(get("Device.Row.order"), "[4,2,3]");
    EXPECT_EQ(get("Device.Row.2.index"), "2");
    must(add("Device.Row."));
    EXPECT_EQ(get("Device.Row.order"), "[4,2,3,5]");
    EXPECT_EQ(get("Device.Row.5.index"), "4");
}

}  // namespace
}  // namespace ravd
