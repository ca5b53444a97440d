// The configuration as a document: exported, brought back, compared.
#include "ravd/model/configuration.h"

#include <filesystem>
#include <fstream>

#include "tests/support/temporary_folder.h"
#include "tests/unit/ravd/write_fixture.h"

namespace ravd {
namespace {

constexpr char no_values[] = R"({"Format":"ravd configuration 1","Secrets":true,"Tables":[],"Values":{}})";

class ConfigurationTest : public ModelTest {
 protected:
    ConfigurationTest() {
        model->set_listener(&listener);
        machine = FakeMachine();
    }
    ~ConfigurationTest() override { model->set_listener(nullptr); }

    std::string exported(Secrets secrets = Secrets::included) { return export_configuration(*model, secrets); }
    // "" or the fault as text.
    std::string import(const std::string &document) {
        const Fault fault = import_configuration(*model, document);
        if (!fault) return "";
        std::string text = std::to_string(fault.code) + ":" + fault.detail;
        for (const auto &[name, reason] : fault.parameters) text += " [" + name + "] " + reason + ";";
        return text;
    }
    static std::string document(const std::string &tables, const std::string &values) {
        return R"({"Format":"ravd configuration 1","Secrets":true,"Tables":[)" + tables + R"(],"Values":{)" + values +
               "}}";
    }
    void must_set(const std::string &name, const std::string &value) {
        EXPECT_EQ(set(R"([{"Name":")" + name + R"(","Value":)" + value + "}]"), R"({"Status":0})");
    }
    std::string told() {
        std::string text;
        for (const std::string &each : std::exchange(listener.told, {})) text += (text.empty() ? "" : " ") + each;
        return text;
    }
    std::string value(const char *name) { return values({name}); }

    // What fits of a document of another schema.
    Fault import_what_fits(const std::string &document, Fault &refused) {
        ConfigurationImport import(*model);
        Fault fault = import.read_what_fits(document, refused);
        if (!fault) import.make();
        return fault;
    }

    RecordingListener listener;
    std::string problem;
};

TEST_F(ConfigurationTest, HoldsWhatUsersHaveSetAndNothingElse) {
    EXPECT_EQ(exported(), no_values);
    EXPECT_EQ(default_configuration(), no_values);
    must_set("Device.Info.Name", R"("villa")");
    must_set("Device.Info.Password", R"("secret")");
    add("Device.Net.Rule.");
    add("Device.Net.Rule.");
    del("Device.Net.Rule.2.");
    must_set("Device.Net.Rule.1.Weight", "9");
    EXPECT_EQ(exported(),
              document(R"({"Name":"Device.Net.Rule.","Last":2,"Rows":[1]})",
                       R"("Device.Info.Name":"villa","Device.Info.Password":"secret","Device.Net.Rule.1.Weight":9)"));
    EXPECT_EQ(exported(Secrets::left_out).find("secret\""), std::string::npos);
}

TEST_F(ConfigurationTest, InstancesOfProvidersAreKnownByTheirKeys) {
    machine.interfaces = {{"lan", 1, {"192.0.2.1"}}, {"wan", 2, {}}};
    value("Device.Net.");
    must_set("Device.Net.Interface.2.Enable", "false");
    const std::string kept = exported();
    EXPECT_EQ(kept, document(R"({"Name":"Device.Net.Interface.","Last":2,"Rows":[[1,"lan"],[2,"wan"]]})",
                             R"("Device.Net.Interface.2.Enable":false)"));
    model = Model::load(std::string(RAV_SOURCE "/tests/data/schema/house"), fake_providers(), problem);
    machine.interfaces = {{"wan", 2, {}}, {"new", 3, {}}};
    EXPECT_EQ(import(kept), "");
    EXPECT_EQ(list(names("Device.Net.Interface.", true)), "Device.Net.Interface.1. Device.Net.Interface.2.");
    EXPECT_NE(config("Device.Net.Interface.").find(R"("Enable":false,"Name":"wan")"), std::string::npos)
        << "the number differs where the machine was asked first";
}

// The house, whose addresses have labels that users give them.
class LabelledAddresses : public ConfigurationTest {
 protected:
    LabelledAddresses() {
        std::filesystem::copy(RAV_SOURCE "/tests/data/schema/house", folder_.path());
        std::ofstream(folder_ / "z_label.json") << R"({"Device": {"Net": {"Interface": {"#template": {"Address": {
            "#template": {"Label": {"#attr": {"type": "string", "access": "readWrite"}}}}}}}}})";
        model = Model::load(folder_.path(), fake_providers(), problem);
        EXPECT_NE(model, nullptr) << problem;
    }

 private:
    const TemporaryFolder folder_;
};

TEST_F(LabelledAddresses, InstancesWithinThoseOfProvidersComeBackToo) {
    machine.interfaces = {{"lan", 1, {"192.0.2.1", "192.0.2.2"}}};
    value("Device.Net.");
    must_set("Device.Net.Interface.1.Address.2.Label", R"("here")");
    const std::string kept = exported();
    EXPECT_EQ(kept, document(R"({"Name":"Device.Net.Interface.","Last":1,"Rows":[[1,"lan"]]},)"
                             R"({"Name":"Device.Net.Interface.1.Address.","Last":2,)"
                             R"("Rows":[[1,"192.0.2.1"],[2,"192.0.2.2"]]})",
                             R"("Device.Net.Interface.1.Address.2.Label":"here")"));
    must_set("Device.Net.Interface.1.Address.2.Label", R"("gone")");
    EXPECT_EQ(import(kept), "");
    EXPECT_EQ(exported(), kept);
}

TEST_F(ConfigurationTest, NumbersOfProvidersLastFromStartToStart) {
    machine.interfaces = {{"lan", 1, {}}, {"wan", 2, {}}};
    value("Device.Net.");
    machine.interfaces.erase(machine.interfaces.begin());
    const std::string kept = exported();
    model = Model::load(std::string(RAV_SOURCE "/tests/data/schema/house"), fake_providers(), problem);
    Fault refused;
    EXPECT_FALSE(import_what_fits(kept, refused));
    EXPECT_FALSE(refused);
    EXPECT_EQ(list(names("Device.Net.Interface.", true)), "Device.Net.Interface.2.");
    EXPECT_EQ(exported(), kept);
}

TEST_F(ConfigurationTest, BringsBackAllAndTellsEveryChange) {
    must_set("Device.Info.Name", R"("villa")");
    add("Device.Net.Rule.");
    add("Device.Net.Rule.");
    add("Device.Net.Rule.");
    must_set("Device.Net.Rule.3.index", "1");
    must_set("Device.Net.Rule.2.Weight", "-4");
    del("Device.Net.Rule.1.");
    const std::string kept = exported();
    must_set("Device.Info.Name", R"("shed")");
    must_set("Device.Info.Mask", "1");
    del("Device.Net.Rule.2.");
    add("Device.Net.Rule.");
    told();
    EXPECT_EQ(import(kept), "");
    EXPECT_EQ(told(),
              "Device.Info.Name=\"villa\" Device.Info.Mask=255 -Device.Net.Rule.4 +Device.Net.Rule.2 "
              "Device.Net.Rule.2.Weight=-4");
    EXPECT_EQ(exported().substr(0, 80), kept.substr(0, 80));
    EXPECT_EQ(add("Device.Net.Rule."), R"({"InstanceNumber":5,"Status":0})") << "numbers are never used twice";
    EXPECT_EQ(import(no_values), "");
    EXPECT_EQ(exported(), document(R"({"Name":"Device.Net.Rule.","Last":5,"Rows":[]})", ""));
}

TEST_F(ConfigurationTest, OrderIsBroughtBack) {
    for (int n = 0; n < 3; n++) add("Device.Net.Rule.");
    must_set("Device.Net.Rule.3.index", "1");
    const std::string kept = exported();
    must_set("Device.Net.Rule.1.index", "1");
    told();
    EXPECT_EQ(import(kept), "");
    EXPECT_EQ(exported(), kept);
    EXPECT_EQ(told(), "Device.Net.Rule.1.index=2 Device.Net.Rule.3.index=1");
}

TEST_F(ConfigurationTest, SecretsThatAreLeftOutStay) {
    must_set("Device.Info.Password", R"("secret")");
    const std::string without = exported(Secrets::left_out);
    EXPECT_EQ(import(without), "");
    EXPECT_NE(exported().find("secret\""), std::string::npos);
    EXPECT_EQ(import(no_values), "");
    EXPECT_EQ(exported(), no_values);
}

TEST_F(ConfigurationTest, ANameThatIsRefusedRefusesAll) {
    must_set("Device.Info.Name", R"("villa")");
    told();
    EXPECT_EQ(
        import(document(
            R"({"Name":"Device.Net.Rule.","Last":1,"Rows":[1]},{"Name":"Device.Nothing.","Last":1,"Rows":[1]},)"
            R"({"Name":"Device.Info.","Last":1,"Rows":[]},{"Name":"Device.Net.Rule.","Last":1,"Rows":[1]})",
            R"("Device.Info.Name":"a name that is too long","Device.Info.Mask":"x","Device.Info.Serial":"1",)"
            R"("Device.Info.UpTime":1,"Device.Net.Rule.7.Weight":1,"Device.Net.Rule.1.index":1,"Device.Info":1)")),
        "9003: [Device.Nothing.] 9005 Invalid parameter name; [Device.Info.] 9005 Invalid parameter name;"
        " [Device.Net.Rule.] 9003 Invalid arguments: named twice;"
        " [Device.Info.Name] 9007 Invalid parameter value: \"a name that is too long\" is longer than 16 characters;"
        " [Device.Info.Mask] 9006 Invalid parameter type: unsignedInt wanted; [Device.Info.Serial] 9008 Attempt to set "
        "a non-writable "
        "parameter;"
        " [Device.Info.UpTime] 9008 Attempt to set a non-writable parameter;"
        " [Device.Net.Rule.7.Weight] 9005 Invalid parameter name;"
        " [Device.Net.Rule.1.index] 9008 Attempt to set a non-writable parameter;"
        " [Device.Info] 9005 Invalid parameter name;");
    EXPECT_EQ(told(), "");
    EXPECT_EQ(exported(), document("", R"("Device.Info.Name":"villa")"));
}

TEST_F(ConfigurationTest, WhatIsNoConfigurationIsRefused) {
    for (const char *text :
         {"", "[]", "{}", "no JSON", R"({"Format":"ravd configuration 2","Secrets":true,"Tables":[],"Values":{}})",
          R"({"Format":"ravd configuration 1","Secrets":true,"Tables":[],"Values":[]})",
          R"({"Format":"ravd configuration 1","Tables":[],"Values":{}})",
          R"({"Format":"ravd configuration 1","Secrets":true,"Tables":[],"Values":{"a":1,"a":2}})"})
        EXPECT_EQ(import(text), "9018:not a configuration") << text;
    for (const char *table :
         {"1", "{}", R"({"Name":"Device.Net.Rule.","Last":0,"Rows":[]})",
          R"({"Name":"Device.Net.Rule.","Last":2147483648,"Rows":[]})",
          R"({"Name":"Device.Net.Rule.","Last":3,"Rows":[0]})", R"({"Name":"Device.Net.Rule.","Last":3,"Rows":[4]})",
          R"({"Name":"Device.Net.Rule.","Last":3,"Rows":[1,1]})",
          R"({"Name":"Device.Net.Rule.","Last":3,"Rows":[[1]]})",
          R"({"Name":"Device.Net.Rule.","Last":3,"Rows":[[1,"key"]]})",
          R"({"Name":"Device.Net.Rule.","Last":3,"Rows":["1"]})"})
        EXPECT_EQ(import(document(table, "")).substr(0, 5), "9003:") << table;
}

TEST_F(ConfigurationTest, WhatFitsIsTakenFromAnotherSchemasDocument) {
    Fault refused;
    const std::string foreign = document(R"({"Name":"Device.Gone.","Last":1,"Rows":[1]})",
                                         R"("Device.Gone.1.X":1,"Device.Info.Name":"villa","Device.Info.Mask":-1)");
    EXPECT_FALSE(import_what_fits(foreign, refused));
    EXPECT_EQ(refused.parameters.size(), 3U);
    EXPECT_EQ(exported(), document("", R"("Device.Info.Name":"villa")"));
    EXPECT_EQ(import_what_fits("garbage", refused).code, 9018);
}

TEST_F(ConfigurationTest, DifferencesAreNamed) {
    const auto differences = [&](const std::string &before, const std::string &after) {
        std::string text;
        for (const Difference &each : compare_configurations(*model, before, after))
            text += std::string(&"=+-"[static_cast<int>(each.kind)], 1) + each.path + ":" + each.before + ":" +
                    each.after + " ";
        return text;
    };
    add("Device.Net.Rule.");
    must_set("Device.Info.Name", R"("villa")");
    const std::string before = exported();
    must_set("Device.Info.Name", R"("shed")");
    must_set("Device.Info.Password", R"("secret")");
    add("Device.Net.Rule.");
    del("Device.Net.Rule.1.");
    EXPECT_EQ(differences(before, exported()), R"(=Device.Info.Name:"villa":"shed" =Device.Info.Password:***:*** )"
                                               R"(-Device.Net.Rule.1.:: +Device.Net.Rule.2.:: )");
    EXPECT_EQ(differences(exported(), exported()), "");
}

}  // namespace
}  // namespace ravd
