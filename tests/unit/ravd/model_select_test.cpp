// Selectors: their grammar, what they reach, how conditions compare, and rights.
#include "ravd/model/selector.h"
#include "tests/unit/ravd/model_fixture.h"

namespace ravd {

namespace {

class Select : public ModelTest {
 protected:
    Select() {
        machine.interfaces = {{"eth0", 100, {"192.0.2.1", "192.0.2.2"}}, {"wlan0", 5, {}}, {"eth1", 7, {"192.0.2.9"}}};
        for (const char *number : {"1", "2", "3"}) {
            add_rule();
            const std::string name = std::string("Device.Net.Rule.") + number + ".Weight";
            EXPECT_EQ(set("[{\"Name\":\"" + name + "\",\"Value\":" + number + "0}]"), R"({"Status":0})");
        }
    }

    // The paths of the selection, joined by blanks; a fault as it is.
    std::string paths(const std::string &selector) {
        const std::string result = select(selector);
        const Json reply(json_loads(result.c_str(), 0, nullptr));
        if (!reply) return result;
        std::string text;
        const char *path;
        json_t *tree;
        json_object_foreach(json_object_get(reply.get(), "Selection"), path, tree) text +=
            (text.empty() ? "" : " ") + std::string(path);
        return text;
    }
};

std::string selection(const std::string &members) {
    return "{\"Selection\":{" + members + "}}";
}

std::string unknown(const std::string &name) {
    return "9005: [" + name + "] 9005 Invalid parameter name;";
}

}  // namespace

TEST_F(Select, NamesReachOneNode) {
    EXPECT_EQ(select("Device.Info.Name"), selection(R"("Device.Info.Name":"home")"));
    EXPECT_EQ(select("Device.Net.Rule.2"), selection(R"("Device.Net.Rule.2":{"Target":"","Weight":20,"index":2})"));
    EXPECT_EQ(select("Device.Net.Interface.1.Address."),
              selection(R"("Device.Net.Interface.1.Address":{"max_instance":2,"1":{"IPAddress":"192.0.2.1"},)"
                        R"("2":{"IPAddress":"192.0.2.2"}})"));
    EXPECT_EQ(paths("."), ".");
    EXPECT_EQ(select("Device.Net.Interface.max_instance"), selection(R"("Device.Net.Interface.max_instance":3)"));
    EXPECT_EQ(select("Device.Net.Rule.order"), selection(R"("Device.Net.Rule.order":[1,2,3])"));
}

TEST_F(Select, AnAsteriskIsEveryInstanceInModelOrder) {
    EXPECT_EQ(paths("Device.Net.Interface.*"), "Device.Net.Interface.1 Device.Net.Interface.2 Device.Net.Interface.3");
    EXPECT_EQ(select("Device.Net.Interface.*.Name"),
              selection(R"("Device.Net.Interface.1.Name":"eth0","Device.Net.Interface.2.Name":"wlan0",)"
                        R"("Device.Net.Interface.3.Name":"eth1")"));
    EXPECT_EQ(paths("Device.Net.Interface.*.Address.*"),
              "Device.Net.Interface.1.Address.1 Device.Net.Interface.1.Address.2 Device.Net.Interface.3.Address.1");
    EXPECT_EQ(paths("Device.Net.Interface.*.Address.2"), "Device.Net.Interface.1.Address.2");
    set(R"([{"Name":"Device.Net.Rule.3.index","Value":1}])");
    EXPECT_EQ(paths("Device.Net.Rule.*"), "Device.Net.Rule.3 Device.Net.Rule.1 Device.Net.Rule.2");
}

TEST_F(Select, BracesKeepParameters) {
    EXPECT_EQ(select("Device.Net.Interface.2{Name,Enable}"),
              selection(R"("Device.Net.Interface.2":{"Name":"wlan0","Enable":true})"));
    EXPECT_EQ(select("Device.Info . { Mask , Password }"), selection(R"("Device.Info":{"Mask":255})"));
    EXPECT_EQ(select("Device.Info{Nix}"), unknown("Device.Info.Nix"));
    EXPECT_EQ(select("Device.Net{Interface}"), unknown("Device.Net.Interface"));
}

struct Case {
    const char *condition;
    const char *chosen;  // numbers of rules
};

class Conditions : public Select, public testing::WithParamInterface<Case> {};

TEST_P(Conditions, Choose) {
    std::string chosen;
    for (const char c : paths("Device.Net.Rule.[" + std::string(GetParam().condition) + "].Weight"))
        if (c >= '0' && c <= '9') chosen += c;
    EXPECT_EQ(chosen, GetParam().chosen);
}

INSTANTIATE_TEST_SUITE_P(OnNumbers, Conditions,
                         testing::Values(Case{"Weight == 20", "2"}, Case{"Weight==20.0", "2"},
                                         Case{"Weight != 20", "13"}, Case{"Weight < 20", "1"}, Case{"Weight<=20", "12"},
                                         Case{"Weight > 20", "3"}, Case{"Weight >= 20", "23"},
                                         Case{"Weight ~= 0", "123"}, Case{"Weight ~= 3", "3"},
                                         Case{"Weight == \"20\"", ""}, Case{"Weight != x", "123"},
                                         Case{"Weight < x", ""}, Case{"Weight > 10 && Weight < 30", "2"},
                                         Case{"index == 3", "3"}, Case{"Target == \"\"", "123"},
                                         Case{"Target != \"\"", ""}));

TEST_F(Select, ConditionsOnTextsAndBooleans) {
    EXPECT_EQ(paths("Device.Net.Interface.[Name == eth0]"), "Device.Net.Interface.1");
    EXPECT_EQ(paths("Device.Net.Interface.[Name == \"eth\\u0030\"]"), "Device.Net.Interface.1");
    EXPECT_EQ(paths("Device.Net.Interface.[Name ~= eth].Name"),
              "Device.Net.Interface.1.Name Device.Net.Interface.3.Name");
    EXPECT_EQ(paths("Device.Net.Interface.[Name > eth0]"), "Device.Net.Interface.2 Device.Net.Interface.3");
    set(R"([{"Name":"Device.Net.Interface.2.Enable","Value":false}])");
    EXPECT_EQ(paths("Device.Net.Interface.[Enable == true && Stats.BytesSent < 50]"), "Device.Net.Interface.3");
    EXPECT_EQ(paths("Device.Net.Interface.[Enable != true]"), "Device.Net.Interface.2");
    EXPECT_EQ(paths("Device.Net.Interface.[Enable == null]"), "");
}

TEST_F(Select, ConditionsLookBelowTheInstance) {
    EXPECT_EQ(paths("Device.Net.Interface.[Address.2.IPAddress == 192.0.2.2]"), "Device.Net.Interface.1");
    EXPECT_EQ(paths("Device.Net.Interface.[Address.1.IPAddress != 192.0.2.1]"), "Device.Net.Interface.3");
    EXPECT_EQ(paths("Device.Net.Interface.[Address.max_instance == 0]"), "Device.Net.Interface.2");
    EXPECT_EQ(paths("Device.Net.Interface.[Name == eth0].Address.[IPAddress ~= .2]"),
              "Device.Net.Interface.1.Address.1 Device.Net.Interface.1.Address.2");
}

TEST_F(Select, WhatIsNotThere) {
    EXPECT_EQ(select("Device.Nix"), unknown("Device.Nix"));
    EXPECT_EQ(select("Device.Net.Interface.9"), unknown("Device.Net.Interface.9"));
    EXPECT_EQ(select("Device.Net.Interface.01"), unknown("Device.Net.Interface.01"));
    EXPECT_EQ(select("Device.Net.*"), unknown("Device.Net.*"));
    EXPECT_EQ(select("Device.Info.[Name == x]"), unknown("Device.Info.[]"));
    EXPECT_EQ(select("Device.Net.Rule.[Nix == 1]"), unknown("Device.Net.Rule.[].Nix"));
    EXPECT_EQ(select("Device.Net.Interface.[Stats == 1]"), unknown("Device.Net.Interface.[].Stats"));
    EXPECT_EQ(select("Device.Info.Reset"), unknown("Device.Info.Reset"));
    EXPECT_EQ(select("Device.Info.Name.x"), unknown("Device.Info.Name.x"));
    EXPECT_EQ(select("Device.Net.Rule.[Weight == 99]"), selection(""));
    EXPECT_EQ(select("Device.Net.Interface.*.Address.9"), selection(""));
}

TEST_F(Select, Rights) {
    viewer.role = Role::guest;
    EXPECT_EQ(select("Device.Info.Serial"), unknown("Device.Info.Serial"));
    EXPECT_EQ(select("Device.Net.Rule.*"), unknown("Device.Net"));
    EXPECT_EQ(select("Device.Info{Name,Serial}"), unknown("Device.Info.Serial"));
    EXPECT_EQ(select("Device.Info.Who"), selection(""));
    viewer.role = Role::admin;
    EXPECT_EQ(select("Device.Info.Command"), "9001: [Device.Info.Command] 9001 Request denied;");
    EXPECT_EQ(select("Device.Info{Name,Command}"), selection(R"("Device.Info":{"Name":"home"})"));
    EXPECT_EQ(select("Device.Info.Password"), selection(R"("Device.Info.Password":"")"));
}

class SelectRights : public ModelTest {
 protected:
    SelectRights() : ModelTest("rights", {}) {}
};

TEST_F(SelectRights, AConditionThatMayNotBeReadIsNeverFulfilled) {
    add("Device.Open.");
    EXPECT_EQ(select("Device.Open.[Hidden == 0]"), selection(R"("Device.Open.1":{"Hidden":0})"));
    viewer.role = Role::user;
    for (const char *condition : {"Hidden == 0", "Hidden != 0", "Hidden ~= 0"})
        EXPECT_EQ(select("Device.Open.[" + std::string(condition) + "]").find("Device.Open.1\""), std::string::npos);
}

TEST_F(Select, AReplyThatGrowsTooLargeIsTakenBack) {
    EXPECT_EQ(select("Device.Net.Rule.*", 20), "9004: (the reply would be too large)");
    EXPECT_EQ(paths("Device.Net.Rule.1"), "Device.Net.Rule.1");
}

TEST(SelectorSyntax, FaultsNameTheColumn) {
    const std::pair<const char *, const char *> cases[] = {
        {"", "column 1: a name is missing"},
        {"Device..Info", "column 8: a name is missing"},
        {"Device.[", "column 9: a name is missing"},
        {"Device.[Name", "column 13: one of == != < > <= >= ~= is missing"},
        {"Device.[Name = x]", "column 14: one of == != < > <= >= ~= is missing"},
        {"Device.[Name == ]", "column 17: a value is missing"},
        {"Device.[Näme == 1]", "column 10: one of == != < > <= >= ~= is missing"},
        {"Device.[Name == \"ä\\\"]", "column 17: the text is not ended"},
        {"Device.[Name == \"\\x\"]", "column 17: the text is no JSON"},
        {"Device.[Name == x & A == b]", "column 19: \"]\" or \"&&\" is missing"},
        {"Device.[Name == \"ä\" && B]", "column 25: one of == != < > <= >= ~= is missing"},
        {"Device{", "column 8: a name is missing"},
        {"Device{A", "column 9: \"}\" or \",\" is missing"},
        {"Device{A B}", "column 10: \"}\" or \",\" is missing"},
        {"Device{A} x", "column 11: unexpected text"},
        {"Device x", "column 8: unexpected text"},
        {"Device.#template", "column 8: a name is missing"},
        {"Device.*5", "column 9: unexpected text"},
    };
    for (const auto &[text, problem] : cases) {
        Selector selector;
        EXPECT_EQ(parse_selector(text, selector), problem) << text;
    }
    Selector selector;
    EXPECT_EQ(parse_selector(std::string(4096, 'x'), selector), "");
    EXPECT_EQ(parse_selector(std::string(4097, 'x'), selector), "column 4097: the selector is too long");
}

}  // namespace ravd
