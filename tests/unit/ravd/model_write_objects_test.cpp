// Adding and deleting instances, and what relations make of it.
#include "tests/unit/ravd/write_fixture.h"

namespace ravd {
namespace {

TEST_F(WriteTest, AddedInstancesHaveDefaultsAndNewNumbers) {
    EXPECT_EQ(add("Device.Box."), "{\"InstanceNumber\":1,\"Status\":0}");
    EXPECT_EQ(add("Device.Box"), "{\"InstanceNumber\":2,\"Status\":0}");
    EXPECT_EQ(get("Device.Box.2.Size"), "5");
    EXPECT_EQ(del("Device.Box.2"), done);
    EXPECT_EQ(add("Device.Box."), "{\"InstanceNumber\":3,\"Status\":0}");
    EXPECT_EQ(get("Device.Box.max_instance"), "3");
    EXPECT_EQ(told(), "+Device.Box.1 +Device.Box.2 -Device.Box.2 +Device.Box.3");
}

TEST_F(WriteTest, EveryTableCountsByItself) {
    must(add("Device.Target."));
    must(add("Device.Target."));
    EXPECT_EQ(add("Device.Target.2.Inner."), "{\"InstanceNumber\":1,\"Status\":0}");
    EXPECT_EQ(add("Device.Target.1.Inner."), "{\"InstanceNumber\":1,\"Status\":0}");
    EXPECT_EQ(add("Device.Target.1.Inner."), "{\"InstanceNumber\":2,\"Status\":0}");
}

TEST_F(WriteTest, OnlyMultiInstanceObjectsAreAddedTo) {
    must(add("Device.Target."));
    const auto refused = [](const std::string &name, const char *fault) { return fault + (" [" + name) + "] "; };
    for (const char *name : {"", ".", "Device.", "Device.Values.Int", "Device.Box.1.", "Device.Target.1.",
                             "Device.Target.2.Inner.", "Device.Target.#template.Inner.", "Device.None."})
        EXPECT_EQ(add(name), refused(name, "9005:") + "9005 Invalid parameter name;") << name;
    EXPECT_EQ(add("Device.Static."),
              refused("Device.Static.", "9008:") + "9008 Attempt to set a non-writable parameter;");
    viewer.role = Role::user;
    EXPECT_EQ(add("Device.Box."), refused("Device.Box.", "9001:") + "9001 Request denied;");
    EXPECT_EQ(add("Device.Guarding."), refused("Device.Guarding.", "9005:") + "9005 Invalid parameter name;");
    viewer.role = Role::guest;
    EXPECT_EQ(add("Device.Target."), refused("Device.Target.", "9005:") + "9005 Invalid parameter name;");
}

TEST_F(WriteTest, NumbersRunOut) {
    Model::Parts &parts = model->parts();
    Table &table = parts.root->table(*parts.schema->root.find("Device")->find("Box"));
    table.reserve_numbers(instance_limit - 2);
    EXPECT_EQ(add("Device.Box."), "{\"InstanceNumber\":2147483647,\"Status\":0}");
    EXPECT_EQ(add("Device.Box."), "9004: [Device.Box.] 9004 Resources exceeded;");
}

TEST_F(WriteTest, OnlyInstancesAreDeleted) {
    must(add("Device.Box."));
    for (const char *name : {"", ".", "Device.Box.", "Device.Box.2.", "Device.Box.01.", "Device.Box.#template.",
                             "Device.Box.1.Name", "Device.Values."})
        EXPECT_EQ(del(name), std::string("9005: [") + name + "] 9005 Invalid parameter name;") << name;
    EXPECT_EQ(del("Device.Static.1."), "9005: [Device.Static.1.] 9005 Invalid parameter name;");
    viewer.role = Role::user;
    EXPECT_EQ(del("Device.Box.1."), "9001: [Device.Box.1.] 9001 Request denied;");
}

TEST_F(WriteTest, TheDevicesOwnInstancesStay) {
    yard.ports = {{"p0", true}};
    EXPECT_EQ(add("Device.Port."), "{\"InstanceNumber\":2,\"Status\":0}");
    EXPECT_EQ(del("Device.Port.1."),
              "9001: [Device.Port.1.] 9001 Request denied; (Device.Port.1. is the device's own)");
    EXPECT_EQ(names("Device.Port.", true),
              "{\"ParameterList\":[{\"Name\":\"Device.Port.1.\",\"Writable\":false},"
              "{\"Name\":\"Device.Port.2.\",\"Writable\":true}]}");
    EXPECT_EQ(del("Device.Port.2."), done);
}

class RelationTest : public WriteTest {
 protected:
    RelationTest() {
        for (int i = 0; i < 2; i++) must(add("Device.Target."));
        told();
    }
    // A new instance of the object with one reference set.
    void refer(const std::string &object, const std::string &parameter, const std::string &value) {
        const std::string added = add(object.c_str());
        const std::string number = added.substr(18, added.find(',') - 18);
        EXPECT_EQ(set_one(object + number + "." + parameter, "\"" + value + "\""), "");
        told();
    }
    static std::string denied(const std::string &name, const std::string &reason) {
        return "9001: [" + name + "] 9001 Request denied; (" + reason + ")";
    }
};

TEST_F(RelationTest, Deny) {
    refer("Device.Denying.", "Ref", "Device.Target.1.");
    EXPECT_EQ(del("Device.Target.1."), denied("Device.Target.1.", "Device.Denying.1.Ref refers to it"));
    EXPECT_EQ(told(), "");
    EXPECT_EQ(del("Device.Target.2."), done);
    EXPECT_EQ(set_one("Device.Denying.1.Ref", "\"\""), "");
    EXPECT_EQ(del("Device.Target.1."), done);
}

TEST_F(RelationTest, RelationsOfTheTemplateCountToo) {
    EXPECT_EQ(set_one("Device.Favourite", "\"Device.Target.2\""), "");
    EXPECT_EQ(del("Device.Target.2."), denied("Device.Target.2.", "Device.Favourite refers to it"));
}

TEST_F(RelationTest, Continue) {
    refer("Device.Keeping.", "Ref", "Device.Target.1");
    EXPECT_EQ(del("Device.Target.1."), done);
    EXPECT_EQ(get("Device.Keeping.1.Ref"), "\"Device.Target.1\"");
    EXPECT_EQ(told(), "-Device.Target.1");
}

TEST_F(RelationTest, ClearTakesOutWhatGoes) {
    refer("Device.Clearing.", "Refs", "Device.Target.1, Device.Target.2 ,Device.Target.1.");
    EXPECT_EQ(del("Device.Target.1."), done);
    EXPECT_EQ(get("Device.Clearing.1.Refs"), "\"Device.Target.2\"");
    EXPECT_EQ(told(), "Device.Clearing.1.Refs=\"Device.Target.2\" -Device.Target.1");
}

TEST_F(RelationTest, WhatIsInsideGoesToo) {
    must(add("Device.Target.1.Inner."));
    refer("Device.Clearing.", "InnerRef", "Device.Target.1.Inner.1");
    EXPECT_EQ(del("Device.Target.1."), done);
    EXPECT_EQ(told(), "Device.Clearing.1.InnerRef=\"\" -Device.Target.1");
}

TEST_F(RelationTest, CascadeFollowsReferences) {
    refer("Device.Cascading.", "Ref", "Device.Target.1");
    refer("Device.Cascading.", "Next", "Device.Cascading.1");
    refer("Device.Cascading.", "Ref", "Device.Target.2");
    EXPECT_EQ(del("Device.Target.1."), done);
    EXPECT_EQ(told(), "-Device.Cascading.2 -Device.Cascading.1 -Device.Target.1");
    EXPECT_EQ(list(names("Device.Cascading.", true)), "Device.Cascading.3.");
}

TEST_F(RelationTest, CyclesEnd) {
    refer("Device.Cascading.", "Ref", "Device.Target.1");
    refer("Device.Cascading.", "Next", "Device.Cascading.1");
    EXPECT_EQ(set_one("Device.Cascading.1.Next", "\"Device.Cascading.2\""), "");
    EXPECT_EQ(set_one("Device.Cascading.2.Favourite", "\"Device.Cascading.2\""), "");  // denies itself
    EXPECT_EQ(del("Device.Cascading.2."), done);
    EXPECT_EQ(list(names("Device.Cascading.", true)), "");
}

TEST_F(RelationTest, LongChainsEnd) {
    refer("Device.Cascading.", "Ref", "Device.Target.1");
    for (int i = 1; i < 300; i++) refer("Device.Cascading.", "Next", "Device.Cascading." + std::to_string(i));
    EXPECT_EQ(del("Device.Target.1."), done);
    EXPECT_EQ(get("Device.Cascading.max_instance"), "0");
}

TEST_F(RelationTest, ADenialAnywhereLeavesEverything) {
    refer("Device.Cascading.", "Ref", "Device.Target.1");
    refer("Device.Cascading.", "Next", "Device.Cascading.1");
    refer("Device.Clearing.", "Refs", "Device.Target.1");
    refer("Device.Guarding.", "Ref", "Device.Cascading.2");
    EXPECT_EQ(del("Device.Target.1."), denied("Device.Target.1.", "Device.Guarding.1.Ref refers to it"));
    EXPECT_EQ(list(names("Device.Cascading.", true)), "Device.Cascading.1. Device.Cascading.2.");
    EXPECT_EQ(get("Device.Clearing.1.Refs"), "\"Device.Target.1\"");
    EXPECT_EQ(told(), "");
    viewer.role = Role::user;  // may not know what guards
    EXPECT_EQ(del("Device.Target.1."), denied("Device.Target.1.", "something refers to it"));
}

TEST_F(RelationTest, WhatGoesTooCanNotDeny) {
    refer("Device.Cascading.", "Ref", "Device.Target.1");
    EXPECT_EQ(set_one("Device.Cascading.1.Favourite", "\"Device.Cascading.1\""), "");
    EXPECT_EQ(del("Device.Target.1."), done);
    EXPECT_EQ(told(), "Device.Cascading.1.Favourite=\"Device.Cascading.1\" -Device.Cascading.1 -Device.Target.1");
}

}  // namespace
}  // namespace ravd
