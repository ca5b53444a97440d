// Names, attributes, and the trees of schema and values.
#include "tests/unit/ravd/model_fixture.h"

namespace ravd {

namespace {

std::string unknown(const std::string &name) {
    return "9005: [" + name + "] 9005 Invalid parameter name;";
}

// The entry of a name in a list of names: "true", "false", or "" when it is not there.
std::string writable(const std::string &result, const std::string &name) {
    const std::string begin = "{\"Name\":\"" + name + "\",\"Writable\":";
    const size_t at = result.find(begin);
    if (at == result.npos) return "";
    return result.substr(at + begin.size(), result.find('}', at) - at - begin.size());
}

}  // namespace

TEST_F(ModelTest, NextLevelNamesAreTheChildren) {
    EXPECT_EQ(list(names(".", true)), "Device.");
    EXPECT_EQ(list(names("Device.", true)), "Device.Info. Device.Net.");
    EXPECT_EQ(names("Device", true), names("Device.", true));
    EXPECT_EQ(
        list(names("Device.Net.", true)),
        "Device.Net.InterfaceNumberOfEntries Device.Net.RuleNumberOfEntries Device.Net.Interface. Device.Net.Rule.");
    EXPECT_EQ(list(names("Device.Info.Reset.", true)), "");
}

TEST_F(ModelTest, NextLevelOfAMultiInstanceObjectIsItsInstances) {
    EXPECT_EQ(list(names("Device.Net.Interface.", true)), "");
    machine.interfaces = {{"eth0", 1, {"192.0.2.1"}}, {"eth1", 1, {}}};
    EXPECT_EQ(list(names("Device.Net.Interface", true)), "Device.Net.Interface.1. Device.Net.Interface.2.");
    EXPECT_EQ(list(names("Device.Net.Interface.1", true)),
              "Device.Net.Interface.1.Enable Device.Net.Interface.1.Name Device.Net.Interface.1.AddressNumberOfEntries "
              "Device.Net.Interface.1.Stats. Device.Net.Interface.1.Address.");
}

TEST_F(ModelTest, AllNamesAreTheNodeAndAllBelow) {
    machine.interfaces = {{"eth0", 1, {"192.0.2.1"}}};
    EXPECT_EQ(list(names("Device.Net.Interface.", false)),
              "Device.Net.Interface. Device.Net.Interface.1. Device.Net.Interface.1.Enable "
              "Device.Net.Interface.1.Name Device.Net.Interface.1.AddressNumberOfEntries Device.Net.Interface.1.Stats. "
              "Device.Net.Interface.1.Stats.BytesSent Device.Net.Interface.1.Address. "
              "Device.Net.Interface.1.Address.1. Device.Net.Interface.1.Address.1.IPAddress");
    EXPECT_EQ(list(names("Device.Info.Name", false)), "Device.Info.Name");
    EXPECT_EQ(list(names("Device.Info.Reset", false)), "Device.Info.Reset.");
    EXPECT_EQ(list(names(".", false)).substr(0, 22), ". Device. Device.Info.");
}

TEST_F(ModelTest, NamesThatCannotBeListed) {
    for (const char *name : {"Device.Nix", "Device.Net.Interface.1.", "Device.Net.Interface.#template.", "",
                             "Device.Info.Name.", "Device.Info.Reset.#input."}) {
        EXPECT_EQ(names(name, false), unknown(name));
        EXPECT_EQ(names(name, true), unknown(name));
    }
    EXPECT_EQ(names("Device.Info.Name", true), unknown("Device.Info.Name"));
    viewer.role = Role::guest;
    EXPECT_EQ(names("Device.Net.", true), unknown("Device.Net."));
    EXPECT_EQ(list(names("Device.", true)), "Device.Info.");
}

TEST_F(ModelTest, WritableIsWhatTheViewerMayChange) {
    machine.interfaces = {{"eth0", 1, {}}};
    add_rule();
    const auto of = [&](Role role, const char *name) {
        viewer.role = role;
        return writable(names(".", false), name);
    };
    EXPECT_EQ(of(Role::admin, "Device.Info."), "false");
    EXPECT_EQ(of(Role::admin, "Device.Info.Name"), "true");
    EXPECT_EQ(of(Role::guest, "Device.Info.Name"), "false");
    EXPECT_EQ(of(Role::admin, "Device.Info.Serial"), "false");
    EXPECT_EQ(of(Role::admin, "Device.Info.Command"), "true");
    EXPECT_EQ(of(Role::admin, "Device.Info.Reset."), "false");
    EXPECT_EQ(of(Role::admin, "Device.Net.Rule."), "true");
    EXPECT_EQ(of(Role::admin, "Device.Net.Rule.1."), "true");
    EXPECT_EQ(of(Role::user, "Device.Net.Rule."), "false");
    EXPECT_EQ(of(Role::user, "Device.Net.Rule.1."), "false");
    EXPECT_EQ(of(Role::user, "Device.Net.Rule.1.Weight"), "false");
    EXPECT_EQ(of(Role::admin, "Device.Net.Interface."), "false");
    EXPECT_EQ(of(Role::admin, "Device.Net.Interface.1."), "false");
    EXPECT_EQ(of(Role::admin, "Device.Net.Interface.1.Enable"), "true");
    EXPECT_EQ(of(Role::admin, "Device.Net.Interface.1.Stats."), "false");
}

TEST_F(ModelTest, AttributesAreTheSchemaWithWhatFollowsFromIt) {
    EXPECT_EQ(attributes({"Device.Info.Name"}),
              "{\"ParameterList\":[{\"Name\":\"Device.Info.Name\",\"Attributes\":{\"type\":\"string\",\"access\":"
              "\"readWrite\",\"perms\":\"rwrwr-\",\"default\":\"home\",\"maxLength\":16}}]}");
    EXPECT_EQ(member(attributes({"Device.Info.Note"}), "default"), "\"\"");
    EXPECT_EQ(member(attributes({"Device.Info.Mode"}), "default"), "\"Router\"");
    EXPECT_EQ(member(attributes({"Device.Info.Ratio"}), "default"), "2.0");
    EXPECT_EQ(member(attributes({"Device.Info.Serial"}), "default"), "");
    EXPECT_EQ(member(attributes({"Device.Info.Serial"}), "const"), "true");
    EXPECT_EQ(member(attributes({"Device.Info.Name"}), "const"), "");
    EXPECT_EQ(member(attributes({"Device.Net.Interface."}), "const"), "true");
    EXPECT_EQ(member(attributes({"Device.Net.Interface.5."}), "const"), "true");
    EXPECT_EQ(member(attributes({"Device.Net.Rule."}), "const"), "");
    EXPECT_EQ(member(attributes({"Device.Net.Rule.1.Weight"}), "perms"), "\"rwr---\"");
    EXPECT_EQ(member(attributes({"Device.Info.Mask"}), "base"), "16");
    EXPECT_EQ(member(attributes({"."}), "type"), "\"object\"");
    EXPECT_EQ(member(attributes({"Device.Info.Reset.#input.Force"}), "mandatory"), "true");
}

TEST_F(ModelTest, AttributesAnswerUnderTheNameAskedFor) {
    EXPECT_EQ(list(attributes({"Device.Info", "Device.Info.", "Device.Info.Name", "Device.Info.Name.", ".",
                               "Device.Info.Reset", "Device.Info.Reset.#output", "DataModelVersion",
                               "Device.Net.Rule.order", "Device.Net.Interface.77", "Device.Net.Interface.007.Name",
                               "Device.Net.Interface.#template.Address.#template.IPAddress"})),
              "Device.Info. Device.Info. Device.Info.Name Device.Info.Name. . Device.Info.Reset. "
              "Device.Info.Reset.#output. DataModelVersion Device.Net.Rule.order Device.Net.Interface.77. "
              "Device.Net.Interface.007.Name Device.Net.Interface.#template.Address.#template.IPAddress");
}

TEST_F(ModelTest, DepthOneAddsTheChildren) {
    EXPECT_EQ(list(attributes({"."}, 1)), ". Device. DataModelVersion");
    EXPECT_EQ(list(attributes({"Device."}, 1)), "Device. Device.Info. Device.Net.");
    EXPECT_EQ(list(attributes({"Device.Info.Name."}, 1)), "Device.Info.Name.");
    EXPECT_EQ(list(attributes({"Device.Info.Reset"}, 1)),
              "Device.Info.Reset. Device.Info.Reset.#input. Device.Info.Reset.#output.");
    add_rule();
    EXPECT_EQ(list(attributes({"Device.Net.Rule"}, 1)),
              "Device.Net.Rule. Device.Net.Rule.#template. Device.Net.Rule.max_instance Device.Net.Rule.order "
              "Device.Net.Rule.1.");
    machine.interfaces = {{"eth0", 1, {"192.0.2.1"}}};
    EXPECT_EQ(list(attributes({"Device.Net.Interface."}, 1)),
              "Device.Net.Interface. Device.Net.Interface.#template. Device.Net.Interface.max_instance "
              "Device.Net.Interface.1.");
    EXPECT_EQ(list(attributes({"Device.Net.Interface.1.Address."}, 1)),
              "Device.Net.Interface.1.Address. Device.Net.Interface.1.Address.#template. "
              "Device.Net.Interface.1.Address.max_instance Device.Net.Interface.1.Address.1.");
    EXPECT_EQ(list(attributes({"Device.Net.Interface.9.Address."}, 1)),
              "Device.Net.Interface.9.Address. Device.Net.Interface.9.Address.#template. "
              "Device.Net.Interface.9.Address.max_instance");
}

TEST_F(ModelTest, AllDepthsGoThroughTemplatesMethodsAndInstances) {
    add_rule();
    EXPECT_EQ(list(attributes({"Device.Net.Rule"}, -1)),
              "Device.Net.Rule. Device.Net.Rule.#template. Device.Net.Rule.#template.Target "
              "Device.Net.Rule.#template.Weight Device.Net.Rule.#template.index Device.Net.Rule.max_instance "
              "Device.Net.Rule.order Device.Net.Rule.1. "
              "Device.Net.Rule.1.Target Device.Net.Rule.1.Weight Device.Net.Rule.1.index");
    EXPECT_EQ(list(attributes({"Device.Info.Reset."}, -1)),
              "Device.Info.Reset. Device.Info.Reset.#input. Device.Info.Reset.#input.Force Device.Info.Reset.#output.");
}

TEST_F(ModelTest, AttributesOfWhatTheViewerDoesNotSee) {
    viewer.role = Role::guest;
    EXPECT_EQ(list(attributes({"Device."}, 1)), "Device. Device.Info.");
    EXPECT_EQ(list(attributes({"Device."}, -1)).find("Serial"), std::string::npos);
    EXPECT_EQ(attributes({"Device.Info.Serial", "Nix", "Device.Info.Name"}),
              "9005: [Device.Info.Serial] 9005 Invalid parameter name; [Nix] 9005 Invalid parameter name;");
}

TEST_F(ModelTest, TheSchemaTreeHoldsTheBranchAndTheWayToIt) {
    const std::string tree = datamodel({"Device.Net.Rule.3.Weight"});
    const Json reply(json_loads(tree.c_str(), 0, nullptr));
    const json_t *root = json_object_get(reply.get(), "Datamodel");
    ASSERT_TRUE(json_object_get(root, "#attr"));
    const json_t *device = json_object_get(root, "Device");
    ASSERT_EQ(json_object_size(device), 2U);  // "#attr" and "Net"
    const json_t *rule = json_object_get(json_object_get(device, "Net"), "Rule");
    ASSERT_EQ(json_object_size(rule), 2U);
    const json_t *instance = json_object_get(rule, "#template");
    ASSERT_EQ(json_object_size(instance), 2U);
    EXPECT_EQ(
        json_integer_value(json_object_get(json_object_get(json_object_get(instance, "Weight"), "#attr"), "default")),
        7);
    EXPECT_TRUE(json_is_string(json_object_get(reply.get(), "DataModelVersion")));
}

TEST_F(ModelTest, TheSchemaTreeOfSeveralPathsAndDepths) {
    const auto keys = [&](std::initializer_list<const char *> paths, int depth) {
        const Json reply(json_loads(datamodel(paths, depth).c_str(), 0, nullptr));
        std::string text;
        const auto walk = [&text](const auto &self, json_t *node) -> void {
            const char *key = nullptr;
            json_t *value = nullptr;
            json_object_foreach(node, key, value) {
                if (strcmp(key, "#attr") == 0) continue;
                text += key;
                text += '(';
                self(self, value);
                text += ')';
            }
        };
        walk(walk, json_object_get(reply.get(), "Datamodel"));
        return text;
    };
    EXPECT_EQ(keys({}, -1), "");
    EXPECT_EQ(keys({"."}, 0), "");
    EXPECT_EQ(keys({"."}, 2), "Device(Info()Net())");
    EXPECT_EQ(keys({"Device.Net.Rule"}, 1), "Device(Net(Rule(#template()max_instance()order())))");
    EXPECT_EQ(keys({"Device.Info.Reset", "Device.Net.Rule.max_instance"}, -1),
              "Device(Info(Reset(#input(Force())#output()))Net(Rule(max_instance())))");
    EXPECT_EQ(datamodel({"Device", "Nix"}), unknown("Nix"));
    viewer.role = Role::guest;
    EXPECT_EQ(keys({"Device."}, 1), "Device(Info())");
}

// A schema tree is a schema file: what clients are given loads again as the same model.
TEST_F(ModelTest, TheValueTree) {
    EXPECT_EQ(config("Device.Net.Rule"), "{\"Config\":{\"Device\":{\"Net\":{\"Rule\":{\"max_instance\":0}}}}}");
    add_rule();
    add_rule();
    EXPECT_EQ(config("Device.Net.Rule"),
              "{\"Config\":{\"Device\":{\"Net\":{\"Rule\":{\"max_instance\":2,\"1\":{\"Target\":\"\",\"Weight\":7,"
              "\"index\":1},"
              "\"2\":{\"Target\":\"\",\"Weight\":7,\"index\":2}}}}}}");
    EXPECT_EQ(config("Device.Net.Rule.2."),
              "{\"Config\":{\"Device\":{\"Net\":{\"Rule\":{\"max_instance\":2,\"2\":{\"Target\":\"\",\"Weight\":7,"
              "\"index\":2}}}}}}");
    EXPECT_EQ(config("Device.Net.Rule.2.Weight"),
              "{\"Config\":{\"Device\":{\"Net\":{\"Rule\":{\"max_instance\":2,\"2\":{\"Weight\":7}}}}}}");
    EXPECT_EQ(config("Device.Net.Rule.max_instance"),
              "{\"Config\":{\"Device\":{\"Net\":{\"Rule\":{\"max_instance\":2}}}}}");
}

TEST_F(ModelTest, TheValueTreeHoldsRuntimeValuesButNoSecretsAndNothingUnreadable) {
    machine.up_time = 9;
    EXPECT_EQ(config("Device.Info."),
              "{\"Config\":{\"Device\":{\"Info\":{\"Name\":\"home\",\"Note\":\"\",\"Serial\":\"\",\"UpTime\":9,"
              "\"Mode\":\"Router\",\"Mask\":255,\"Ratio\":2.0,\"Extra\":{\"a\":[1,null]}}}}}");
    EXPECT_EQ(config("Device.Info.Password"), "{\"Config\":{\"Device\":{\"Info\":{}}}}");
    EXPECT_EQ(config("Device.Info.Command"), "9001: [Device.Info.Command] 9001 Request denied;");
    machine.interfaces = {{"eth0", 3, {"192.0.2.1"}}};
    EXPECT_EQ(
        config("Device.Net.Interface.1.Address.1"),
        "{\"Config\":{\"Device\":{\"Net\":{\"Interface\":{\"max_instance\":1,\"1\":{\"Address\":{\"max_instance\":1,"
        "\"1\":{\"IPAddress\":\"192.0.2.1\"}}}}}}}}");
    EXPECT_EQ(config("."), config("Device"));
    viewer.role = Role::guest;
    EXPECT_EQ(config("Device.").find("Serial"), std::string::npos);
    EXPECT_EQ(config("Device.").find("Net"), std::string::npos);
}

TEST_F(ModelTest, ValueTreesThatThereAreNot) {
    for (const char *name : {"Nix", "Device.Net.Rule.1.", "Device.Net.Rule.#template.", "Device.Info.Reset",
                             "Device.Info.Reset.#input.", "Device.Info.Name."})
        EXPECT_EQ(config(name), unknown(name));
}

}  // namespace ravd
