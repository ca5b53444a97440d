// Live tables: rows of a provider become instances, keep their numbers by their keys, and go.
#include "tests/unit/ravd/model_fixture.h"

namespace ravd {

TEST_F(ModelTest, RowsBecomeInstances) {
    machine.interfaces = {{"eth0", 10, {"192.0.2.1"}}};
    EXPECT_EQ(values({"Device.Net.Interface."}),
              "{\"ParameterList\":[{\"Name\":\"Device.Net.Interface.1.Enable\",\"Value\":true},"
              "{\"Name\":\"Device.Net.Interface.1.Name\",\"Value\":\"eth0\"},"
              "{\"Name\":\"Device.Net.Interface.1.AddressNumberOfEntries\",\"Value\":1},"
              "{\"Name\":\"Device.Net.Interface.1.Stats.BytesSent\",\"Value\":10},"
              "{\"Name\":\"Device.Net.Interface.1.Address.1.IPAddress\",\"Value\":\"192.0.2.1\"}]}");
    machine.interfaces[0].bytes = 11;
    EXPECT_NE(values({"Device.Net.Interface.1.Stats.BytesSent"}).find("11"), std::string::npos);
}

TEST_F(ModelTest, NumbersFollowKeysAndAreNeverUsedTwice) {
    machine.interfaces = {{"eth0", 1, {}}, {"eth1", 2, {}}};
    const std::string both = "Device.Net.Interface.1.Name Device.Net.Interface.2.Name";
    EXPECT_EQ(list(values({"Device.Net.Interface.#template.Name"})), both);
    std::swap(machine.interfaces[0], machine.interfaces[1]);
    EXPECT_EQ(values({"Device.Net.Interface.1.Name"}),
              "{\"ParameterList\":[{\"Name\":\"Device.Net.Interface.1.Name\",\"Value\":\"eth0\"}]}");
    machine.interfaces = {{"eth0", 1, {}}};
    EXPECT_EQ(list(values({"Device.Net.Interface.#template.Name"})), "Device.Net.Interface.1.Name");
    machine.interfaces.push_back({"eth1", 2, {}});
    EXPECT_EQ(list(values({"Device.Net.Interface.#template.Name"})),
              "Device.Net.Interface.1.Name Device.Net.Interface.3.Name");
    EXPECT_NE(values({"Device.Net.Interface.max_instance"}).find(":3}"), std::string::npos);
}

TEST_F(ModelTest, NestedRowsComeAndGo) {
    machine.interfaces = {{"eth0", 1, {"192.0.2.1", "192.0.2.2"}}};
    EXPECT_NE(values({"Device.Net.Interface.1.AddressNumberOfEntries"}).find(":2}"), std::string::npos);
    machine.interfaces[0].addresses = {"192.0.2.2", "192.0.2.3"};
    EXPECT_EQ(list(values({"Device.Net.Interface.1.Address."})),
              "Device.Net.Interface.1.Address.2.IPAddress Device.Net.Interface.1.Address.3.IPAddress");
    machine.interfaces[0].addresses.clear();
    EXPECT_EQ(list(values({"Device.Net.Interface.1.Address."})), "");
}

TEST_F(ModelTest, TheSameKeyTwiceIsOneInstance) {
    machine.interfaces = {{"eth0", 1, {}}, {"eth0", 2, {}}, {"", 3, {}}};
    EXPECT_EQ(list(values({"Device.Net.Interface.#template.Name"})), "Device.Net.Interface.1.Name");
}

TEST_F(ModelTest, AValueThatDoesNotFitIsNotTaken) {
    machine.interfaces = {{"eth0", -5, {}}};  // counters are unsigned
    EXPECT_NE(values({"Device.Net.Interface.1.Stats.BytesSent"}).find("\"Value\":0}"), std::string::npos);
}

TEST_F(ModelTest, WhatUsersSetOutlivesLists) {
    machine.interfaces = {{"eth0", 1, {}}};
    values({"Device.Net.Interface."});
    const SchemaNode &table = *model->parts().schema->root.find("Device")->find("Net")->find("Interface");
    model->parts().root->table(table).find(1)->set(*table.instance().find("Enable"), false);
    EXPECT_NE(values({"Device.Net.Interface.1.Enable"}).find("false"), std::string::npos);
}

TEST_F(ModelTest, TablesAreListedOnceACallAndOnlyWhenTouched) {
    machine.interfaces = {{"eth0", 1, {}}};
    values({"Device.Info.", "Device.Net.RuleNumberOfEntries", "Device.Net.Rule."});
    names("Device.Net.", true);
    attributes({"Device.Net."}, 1);
    datamodel({"."});
    config("Device.Info.");
    attributes({"Device.Net.Interface.", "Device.Net.Interface.1.", "Device.Net.Interface.1.Name"}, 0);
    EXPECT_EQ(machine.listed, 0);
    values({"Device.Net.Interface.1.Name", "Device.Net.InterfaceNumberOfEntries", "."});
    EXPECT_EQ(machine.listed, 1);
    values({"Device.Net.InterfaceNumberOfEntries"});
    EXPECT_EQ(machine.listed, 2);
    names("Device.Net.Interface.", true);
    EXPECT_EQ(machine.listed, 3);
    names("Device.Net.", false);
    EXPECT_EQ(machine.listed, 4);
    attributes({"Device.Net.Interface."}, 1);
    EXPECT_EQ(machine.listed, 5);
    attributes({"."}, -1);
    EXPECT_EQ(machine.listed, 6);
    config("Device.");
    EXPECT_EQ(machine.listed, 7);
    values({"Device.Net.Interface.1.Address.max_instance"});
    EXPECT_EQ(machine.listed, 8);
}

TEST_F(ModelTest, ChangesAreToldAfterTheFirstList) {
    RecordingListener listener;
    model->set_listener(&listener);
    machine.interfaces = {{"eth0", 1, {"192.0.2.1"}}, {"eth1", 1, {}}};
    values({"Device.Net.Interface."});
    EXPECT_TRUE(listener.told.empty());
    machine.interfaces = {{"eth0", 1, {"192.0.2.2"}}, {"eth2", 1, {"192.0.2.3"}}};
    values({"Device.Net.Interface."});
    const std::vector<std::string> expected = {"-Device.Net.Interface.2", "-Device.Net.Interface.1.Address.1",
                                               "+Device.Net.Interface.1.Address.2", "+Device.Net.Interface.3",
                                               "+Device.Net.Interface.3.Address.1"};
    EXPECT_EQ(listener.told, expected);
    model->set_listener(nullptr);
    machine.interfaces.clear();
    EXPECT_EQ(list(values({"Device.Net.Interface."})), "");
    EXPECT_EQ(listener.told, expected);
}

}  // namespace ravd
