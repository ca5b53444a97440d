// Reading values: names, subtrees, instances, own parameters, rights and faults.
#include "tests/unit/ravd/model_fixture.h"

namespace ravd {

namespace {

std::string one(const std::string &name, const std::string &value) {
    return "{\"ParameterList\":[{\"Name\":\"" + name + "\",\"Value\":" + value + "}]}";
}

std::string unknown(const std::string &name) {
    return "9005: [" + name + "] 9005 Invalid parameter name;";
}

constexpr const char *info_names =
    "Device.Info.Name Device.Info.Note Device.Info.Serial Device.Info.UpTime Device.Info.Password Device.Info.Mode "
    "Device.Info.Mask Device.Info.Ratio Device.Info.Extra";

}  // namespace

TEST_F(ModelTest, AParameterYieldsItself) {
    EXPECT_EQ(values({"Device.Info.Name"}), one("Device.Info.Name", "\"home\""));
    EXPECT_EQ(values({"Device.Info.Mode"}), one("Device.Info.Mode", "\"Router\""));
    EXPECT_EQ(values({"Device.Info.Ratio"}), one("Device.Info.Ratio", "2.0"));
    EXPECT_EQ(values({"Device.Info.Extra"}), one("Device.Info.Extra", "{\"a\":[1,null]}"));
}

TEST_F(ModelTest, NothingAskedIsNothingAnswered) {
    EXPECT_EQ(values({}), "{\"ParameterList\":[]}");
    EXPECT_EQ(attributes({}), "{\"ParameterList\":[]}");
}

TEST_F(ModelTest, AnObjectYieldsWhatIsReadableBelowItInModelOrder) {
    EXPECT_EQ(list(values({"Device.Info."})), info_names);
    EXPECT_EQ(values({"Device.Info"}), values({"Device.Info."}));
}

TEST_F(ModelTest, TheRootYieldsTheWholeModel) {
    EXPECT_EQ(list(values({"."})),
              std::string(info_names) + " Device.Net.InterfaceNumberOfEntries Device.Net.RuleNumberOfEntries");
    EXPECT_EQ(values({"."}), values({"Device."}));
}

TEST_F(ModelTest, NamesThatAreNone) {
    machine.interfaces = {{"eth0", 1, {}}};
    for (const char *name : {"Device.Nix",
                             "device.Info.Name",
                             ".Device.Info.Name",
                             "Device..Info",
                             "Device.Info..",
                             "",
                             "..",
                             "Device.Info.Name.",
                             "Device.Info.Name.X",
                             "Device.Info.1",
                             "Device.Net.Interface.2.Name",
                             "Device.Net.Interface.01.Name",
                             "Device.Net.Interface.0.",
                             "Device.Net.Interface.4294967297.",
                             "Device.Net.Interface.99999999999999999999.",
                             "Device.Net.Interface.1x.",
                             "Device.Net.Interface.-1.",
                             "Device.Net.Interface.order",
                             "Device.Net.max_instance",
                             "Device.Net.Rule.max_instance.",
                             "Device.Net.#template.",
                             "Device.Net.Interface.#template.Nix",
                             "Device.#attr",
                             "Device.Info.Reset",
                             "Device.Info.Reset.",
                             "Device.Info.Reset.#input.",
                             "Device.Info.Reset.#input.Force",
                             "DataModelVersion.",
                             " Device."})
        EXPECT_EQ(values({name}), unknown(name));
}

TEST_F(ModelTest, TemplateStandsForAllPresentInstances) {
    EXPECT_EQ(values({"Device.Net.Interface.#template.Name"}), "{\"ParameterList\":[]}");
    machine.interfaces = {{"eth0", 1, {"192.0.2.1", "192.0.2.2"}}, {"eth1", 2, {}}, {"eth2", 3, {"192.0.2.3"}}};
    EXPECT_EQ(list(values({"Device.Net.Interface.#template.Name"})),
              "Device.Net.Interface.1.Name Device.Net.Interface.2.Name Device.Net.Interface.3.Name");
    EXPECT_EQ(list(values({"Device.Net.Interface.#template.Address.#template.IPAddress"})),
              "Device.Net.Interface.1.Address.1.IPAddress Device.Net.Interface.1.Address.2.IPAddress "
              "Device.Net.Interface.3.Address.1.IPAddress");
    EXPECT_EQ(list(values({"Device.Net.Interface.2.Address.#template.IPAddress"})), "");
    EXPECT_EQ(list(values({"Device.Net.Interface.#template.Address.max_instance"})),
              "Device.Net.Interface.1.Address.max_instance Device.Net.Interface.2.Address.max_instance "
              "Device.Net.Interface.3.Address.max_instance");
    EXPECT_EQ(values({"Device.Net.Interface.#template.", "Device.Net.Interface.#template"}),
              values({"Device.Net.Interface.", "Device.Net.Interface."}));
    EXPECT_EQ(values({"Device.Net.Interface.9.Address.#template.IPAddress"}, false), "{\"ParameterList\":[]}");
}

TEST_F(ModelTest, OwnParametersAreReadByFullNameOnly) {
    EXPECT_EQ(values({"Device.Net.Rule.max_instance"}), one("Device.Net.Rule.max_instance", "0"));
    EXPECT_EQ(values({"Device.Net.Rule.order"}), one("Device.Net.Rule.order", "[]"));
    add_rule();
    add_rule();
    EXPECT_EQ(values({"Device.Net.Rule.max_instance"}), one("Device.Net.Rule.max_instance", "2"));
    EXPECT_EQ(values({"Device.Net.Rule.order"}), one("Device.Net.Rule.order", "[1,2]"));
    EXPECT_EQ(list(values({"Device.Net.Rule."})),
              "Device.Net.Rule.1.Target Device.Net.Rule.1.Weight Device.Net.Rule.1.index "
              "Device.Net.Rule.2.Target Device.Net.Rule.2.Weight Device.Net.Rule.2.index");
    EXPECT_EQ(list(values({"DataModelVersion"})), "DataModelVersion");
}

TEST_F(ModelTest, EntriesAreCounted) {
    machine.interfaces = {{"eth0", 1, {"192.0.2.1", "192.0.2.2"}}, {"eth1", 2, {}}};
    add_rule();
    EXPECT_EQ(values({"Device.Net.InterfaceNumberOfEntries"}), one("Device.Net.InterfaceNumberOfEntries", "2"));
    EXPECT_EQ(values({"Device.Net.RuleNumberOfEntries"}), one("Device.Net.RuleNumberOfEntries", "1"));
    EXPECT_EQ(values({"Device.Net.Interface.1.AddressNumberOfEntries"}),
              one("Device.Net.Interface.1.AddressNumberOfEntries", "2"));
}

TEST_F(ModelTest, StoredValuesTakeTheDefaultsPlace) {
    Record &rule = add_rule();
    const SchemaNode *node = model->parts().schema->root.find("Device")->find("Net")->find("Rule");
    rule.set(*node->instance().find("Target"), std::string("a \"b\""));
    EXPECT_EQ(values({"Device.Net.Rule.1."}),
              "{\"ParameterList\":[{\"Name\":\"Device.Net.Rule.1.Target\",\"Value\":\"a \\\"b\\\"\"},"
              "{\"Name\":\"Device.Net.Rule.1.Weight\",\"Value\":7},"
              "{\"Name\":\"Device.Net.Rule.1.index\",\"Value\":1}]}");
}

TEST_F(ModelTest, SecretsReadEmpty) {
    const SchemaNode *secret = model->parts().schema->root.find("Device")->find("Info")->find("Password");
    model->parts().root->set(*secret, std::string("hunter2"));
    EXPECT_EQ(values({"Device.Info.Password"}), one("Device.Info.Password", "\"\""));
    EXPECT_EQ(values({"."}).find("hunter2"), std::string::npos);
    EXPECT_EQ(config(".").find("hunter2"), std::string::npos);
}

TEST_F(ModelTest, LiveParametersAreReadEachTime) {
    machine.up_time = 5;
    EXPECT_EQ(values({"Device.Info.UpTime"}), one("Device.Info.UpTime", "5"));
    machine.up_time = 6;
    EXPECT_EQ(values({"Device.Info.UpTime"}), one("Device.Info.UpTime", "6"));
}

TEST_F(ModelTest, WhatMayNotBeReadIsDeniedByNameAndLeftOutElsewhere) {
    const char *denied = "9001: [Device.Info.Who] 9001 Request denied;";
    EXPECT_EQ(values({"Device.Info.Who"}), denied);
    EXPECT_EQ(values({"Device.Info.Who"}, true), "{\"ParameterList\":[]}");
    EXPECT_EQ(values({"Device.Info.Command"}), "9001: [Device.Info.Command] 9001 Request denied;");
    EXPECT_EQ(list(values({"Device.Info.Command", "Device.Info.Name"}, true)), "Device.Info.Name");
    viewer.user = "anna";
    EXPECT_EQ(values({"Device.Info.Who"}), one("Device.Info.Who", "\"anna\""));
}

TEST_F(ModelTest, RolesSeeTheirOwnPart) {
    machine.interfaces = {{"eth0", 1, {}}};
    viewer.role = Role::guest;
    EXPECT_EQ(list(values({"."})),
              "Device.Info.Name Device.Info.Note Device.Info.UpTime Device.Info.Password Device.Info.Mode "
              "Device.Info.Mask Device.Info.Ratio Device.Info.Extra");
    for (const char *name : {"Device.Info.Serial", "Device.Net.", "Device.Net.Interface.1.Name",
                             "Device.Net.Interface.#template.Name", "Device.Net.Interface.max_instance"}) {
        EXPECT_EQ(values({name}), unknown(name));
        EXPECT_EQ(values({name}, true), unknown(name));
    }
    EXPECT_EQ(machine.listed, 0) << "a table was listed for someone who may not see it";
    viewer.role = Role::user;
    EXPECT_EQ(list(values({"Device.Info.Serial", "Device.Net.RuleNumberOfEntries"})),
              "Device.Info.Serial Device.Net.RuleNumberOfEntries");
}

TEST_F(ModelTest, EveryFailedNameIsToldUnderTheFirstCode) {
    EXPECT_EQ(values({"Device.Info.Name", "Device.Info.Who", "Nix", "Device.Info.Command"}),
              "9001: [Device.Info.Who] 9001 Request denied; [Nix] 9005 Invalid parameter name; "
              "[Device.Info.Command] 9001 Request denied;");
    EXPECT_EQ(values({"Nix", "Device.Info.Who"}, true), unknown("Nix"));
}

// The time for one value must not follow the number of instances: this only shows that such a model works.
TEST_F(ModelTest, ManyInstances) {
    for (int i = 0; i < 100000; i++) add_rule();
    EXPECT_EQ(values({"Device.Net.Rule.77777.Weight"}), one("Device.Net.Rule.77777.Weight", "7"));
    EXPECT_EQ(values({"Device.Net.Rule.max_instance"}), one("Device.Net.Rule.max_instance", "100000"));
}

}  // namespace ravd
