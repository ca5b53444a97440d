// The data-model commands in the shell and in their one-shot form: what they print, return and send.
#include <cstring>

#include "tests/unit/ravc/shell_fixture.h"

namespace {

class Shell : public ShellFixture {
 protected:
    Shell() { open_shell(); }
};

class OneShot : public ShellFixture {};

const char ok[] = "Status: OK\n";

TEST_F(Shell, CatReadsTheCurrentNode) {
    cd({"Device.IP.Interface.1"});
    sent();
    EXPECT_EQ(run(process_cat, "cat").text, "Enable = true\nName   = 'eth0'\n");
    EXPECT_EQ(sent(), Sent{R"(GetParameterValues {"ParameterNames":["Device.IP.Interface.1."]})"});
}

TEST_F(Shell, CatAtTheRootPrintsWholeNames) {
    const std::string text = run(process_cat, "cat").text;
    EXPECT_EQ(sent(), Sent{R"(GetParameterValues {"ParameterNames":["."]})"});
    EXPECT_NE(text.find("\nDevice.DeviceInfo.HostName       = 'gate'\n"), std::string::npos) << text;
}

TEST_F(Shell, CatOfAParameterSendsItWithoutADotAndShowsItsBase) {
    EXPECT_EQ(run(process_cat, "cat", {"Device.DeviceInfo.Port"}).text, " = 0x1f\n");
    EXPECT_EQ(sent().back(), R"(GetParameterValues {"ParameterNames":["Device.DeviceInfo.Port"]})");
}

TEST_F(Shell, CatThroughAnAsteriskIgnoresAccessErrors) {
    run(process_cat, "cat", {"Device.IP.Interface.*.Enable"});
    EXPECT_EQ(
        sent().back(),
        R"(GetParameterValues {"ParameterNames":["Device.IP.Interface.#template.Enable"],"IgnoreAccessError":true})");
}

TEST_F(Shell, CatOfPseudoParametersSendsThemWithoutADot) {
    EXPECT_EQ(run(process_cat, "cat", {"Device.IP.Interface.max_instance"}).text, " = 2\n");
    EXPECT_EQ(run(process_cat, "cat", {"Device.Rules.order"}).text, " = [1, 3]\n");
    EXPECT_EQ(sent().back(), R"(GetParameterValues {"ParameterNames":["Device.Rules.order"]})");
}

TEST_F(Shell, CatOfNothingSaysSoWithAFullStop) {
    EXPECT_EQ(run(process_cat, "get", {"Nope"}), (Outcome{0, "get: Nope: no such node.\n"}));
    EXPECT_EQ(run(process_cat, "cat", {"Device.DeviceInfo.*"}),
              (Outcome{0, "cat: Device.DeviceInfo.*: no such node.\n"}));
}

TEST_F(Shell, SetSendsTypedValuesOfAllPairsAtOnce) {
    cd({"Device.DeviceInfo"});
    sent();
    EXPECT_EQ(run(process_set, "set", {"Enable=TRUE", "Port=0x1F", "HostName=a=b", "Level=2"}),
              (Outcome{0,
                       "key = Enable, value = TRUE\nkey = Port, value = 0x1F\nkey = HostName, value = a=b\n"
                       "key = Level, value = 2\nStatus: OK\n"}));
    EXPECT_EQ(sent().back(),
              R"(SetParameterValues {"ParameterList":[{"Name":"Device.DeviceInfo.Enable","Value":true},)"
              R"({"Name":"Device.DeviceInfo.Port","Value":31},{"Name":"Device.DeviceInfo.HostName","Value":"a=b"},)"
              R"({"Name":"Device.DeviceInfo.Level","Value":2.0}]})");
}

TEST_F(Shell, SetReadsIntegersOf32BitsSignedThenUnsigned) {
    for (const auto &[text, sent_value] : {std::pair{"4294967295", "4294967295"}, {"-1", "-1"}, {"017", "15"}}) {
        run(process_set, "set", {std::string("Device.DeviceInfo.Port=") + text});
        EXPECT_NE(sent().back().find(std::string("\"Value\":") + sent_value + "}"), std::string::npos) << text;
    }
    EXPECT_EQ(run(process_set, "set", {"Device.DeviceInfo.Port=4294967296"}),
              (Outcome{-1,
                       "key = Device.DeviceInfo.Port, value = 4294967296\n"
                       "set: Device.DeviceInfo.Port: invalid value 4294967296.\nset: no argument.\n"}));
}

TEST_F(Shell, SetSkipsWhatItRefusesAndSendsTheRest) {
    EXPECT_EQ(
        run(process_set, "set",
            {"Foo", "Nope=1", "Device.IP=1", "Device.DeviceInfo.Bare=x", "Device.DeviceInfo.Enable=yes",
             "Device.DeviceInfo.Port=1"}),
        (Outcome{0,
                 "set: Foo: no value.\n"
                 "key = Nope, value = 1\nset: Nope: no such node.\n"
                 "key = Device.IP, value = 1\nset: Device.IP: is an object or doesn't have default value.\n"
                 "key = Device.DeviceInfo.Bare, value = x\n"
                 "set: Device.DeviceInfo.Bare: is an object or doesn't have default value.\n"
                 "key = Device.DeviceInfo.Enable, value = yes\nset: Device.DeviceInfo.Enable: invalid value yes.\n"
                 "key = Device.DeviceInfo.Port, value = 1\nStatus: OK\n"}));
}

TEST_F(Shell, SetOfNothingSendsNothing) {
    EXPECT_EQ(run(process_set, "set", {"Foo"}), (Outcome{-1, "set: Foo: no value.\nset: no argument.\n"}));
    EXPECT_EQ(run(process_set, "set"), (Outcome{-1, "set: no argument.\n"}));
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(OneShot, SetSendsNamesAsTypedAndValuesAsJson) {
    EXPECT_EQ(run(process_set, "set", {"A.B=\"x\"", "C=1", "D=word"}).result, 0);
    EXPECT_EQ(sent(),
              Sent{R"(SetParameterValues {"ParameterList":[{"Name":"A.B","Value":"x"},{"Name":"C","Value":1}]})"});
    run(process_set, "SetParameterValues", {"C=1"});
    EXPECT_EQ(sent(), Sent{R"(RawSetParameterValues {"ParameterList":[{"Name":"C","Value":1}]})"});
}

TEST_F(Shell, AddPrintsAndReturnsTheNumber) {
    cd({"Device.IP.Interface"});
    sent();
    EXPECT_EQ(run(process_add, "add"), (Outcome{7, std::string("Instance number: 7\n") + ok}));
    EXPECT_EQ(run(process_add, "touch", {":Device.IP.Interface", "3"}).result, 7);
    EXPECT_EQ(sent(), (Sent{R"(AddObject {"ObjectName":"Device.IP.Interface."})",
                            R"(AddObject {"ObjectName":"Device.IP.Interface."})"}));
}

TEST_F(Shell, AddRefusesThreeArgumentsAndUnknownPaths) {
    EXPECT_EQ(run(process_add, "add", {"a", "b", "c"}), (Outcome{-1, "syntax: add <path> [<order_num>]\n"}));
    EXPECT_EQ(run(process_add, "touch", {"Nope"}), (Outcome{-1, "touch: Nope: no such node.\n"}));
}

TEST_F(Shell, TakeMovesIntoTheNewInstance) {
    EXPECT_EQ(run(process_take, "take", {"Device.IP.Interface"}),
              (Outcome{0, std::string("Instance number: 7\n") + ok}));
    EXPECT_STREQ(current_path.path, "Device.IP.Interface.7");
    EXPECT_EQ(run(process_take, "take", {"Nope"}).result, -1);
    EXPECT_STREQ(current_path.path, "Device.IP.Interface.7");
}

TEST_F(Shell, TakeOfAClosedPathAddsNoSecondDot) {
    EXPECT_EQ(run(process_take, "take", {":Device.IP.Interface."}).result, 0);
    EXPECT_STREQ(current_path.path, "Device.IP.Interface.7");
    EXPECT_EQ(run(process_take, "take", {"<"}).result, 0);
    EXPECT_STREQ(current_path.path, "Device.IP.Interface.7");
}

TEST_F(Shell, DelTakesOnePath) {
    EXPECT_EQ(run(process_del, "rm", {"a", "b"}), (Outcome{-1, "syntax: rm <path>\n"}));
    EXPECT_EQ(run(process_del, "del"), (Outcome{-1, "syntax: del <path>\n"}));
    EXPECT_EQ(run(process_del, "del", {"Nope"}), (Outcome{-1, "del: Nope: no such node.\n"}));
    EXPECT_EQ(sent(), Sent{});
    EXPECT_EQ(run(process_del, "del", {"Device.IP.Interface.1"}), (Outcome{0, ok}));
    EXPECT_EQ(sent().back(), R"(DeleteObject {"ObjectName":"Device.IP.Interface.1."})");
    run(process_del, "del", {":"});
    EXPECT_EQ(sent().back(), R"(DeleteObject {"ObjectName":""})");
    run(process_del, "del", {"Device.DeviceInfo.Port"});
    EXPECT_EQ(sent().back(), R"(DeleteObject {"ObjectName":"Device.DeviceInfo.Port"})");
}

TEST_F(Shell, OrderWritesTheIndex) {
    EXPECT_EQ(run(process_order, "order", {"Device.Rules.3", "1"}), (Outcome{0, ok}));
    EXPECT_EQ(sent().back(), R"(SetParameterValues {"ParameterList":[{"Name":"Device.Rules.3.index","Value":1}]})");
    run(process_order, "order", {"Device.Rules.3", "4294967295"});
    EXPECT_EQ(sent().back(), R"(SetParameterValues {"ParameterList":[{"Name":"Device.Rules.3.index","Value":-1}]})");
}

TEST_F(Shell, OrderRefusals) {
    EXPECT_EQ(run(process_order, "order", {"a"}), (Outcome{-1, "syntax: order <path> <order_num>\n"}));
    EXPECT_EQ(run(process_order, "order", {"Device.Rules.3", "x"}), (Outcome{-1, "order: invalid order integer: x\n"}));
    EXPECT_EQ(run(process_order, "order", {"Device.Rules.3", "0x1"}),
              (Outcome{-1, "order: invalid order integer: 0x1\n"}));
    EXPECT_EQ(run(process_order, "order", {"Nope", "1"}), (Outcome{-1, "order: Nope: no such node.\n"}));
    EXPECT_EQ(run(process_order, "order", {"Device.IP.Interface.1", "1"}),
              (Outcome{-1, "order: Device.IP.Interface.1: is not an ordered instance.\n"}));
}

TEST_F(Shell, AsteriskNamesTheTemplateToEveryCommand) {
    run(process_set, "set", {"Device.IP.Interface.*.Name=x"});
    EXPECT_EQ(sent().back(),
              R"(SetParameterValues {"ParameterList":[{"Name":"Device.IP.Interface.#template.Name","Value":"x"}]})");
    run(process_add, "add", {"Device.Rules.*"});
    EXPECT_EQ(sent().back(), R"(AddObject {"ObjectName":"Device.Rules.#template."})");
    run(process_del, "del", {"Device.Rules.*"});
    EXPECT_EQ(sent().back(), R"(DeleteObject {"ObjectName":"Device.Rules.#template."})");
    EXPECT_EQ(
        run(process_order, "order", {"Device.Rules.*", "1"}),
        (Outcome{-1, "order: Device.Rules.*: is not an ordered instance.\n"}));  // the schema gives no "index" there
    run(process_attr, "attr", {"Device.Rules.*"});
    EXPECT_EQ(sent().back(), R"(GetParameterAttributes {"ParameterNames":["Device.Rules.#template."],"Depth":0})");
    EXPECT_EQ(run(process_ls, "ls", {"Device.IP.Interface.*"}),
              (Outcome{0, "Device.IP.Interface.*.Enable\nDevice.IP.Interface.*.Name\n"}));
}

TEST_F(OneShot, InstanceCommandsSendPathsAsTyped) {
    run(process_add, "add", {"X"});
    run(process_add, "AddObject");
    run(process_del, "rm", {"X.1"});
    run(process_order, "order", {"X.1.index", "2"});
    EXPECT_EQ(sent(), (Sent{R"(AddObject {"ObjectName":"X"})", R"(AddObject {"ObjectName":"."})",
                            R"(DeleteObject {"ObjectName":"X.1"})",
                            R"(SetParameterValues {"ParameterList":[{"Name":"X.1.index","Value":2}]})"}));
}

TEST_F(Shell, AttrAtTheRootIsAFixedSheetAndFails) {
    EXPECT_EQ(run(process_attr, "attr"),
              (Outcome{-1, "Canonical path:     :\nType:               config root\nConst:              true\n"}));
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(Shell, AttrOfAParameterAndOfAnObject) {
    EXPECT_EQ(run(process_attr, "attr", {"Device.DeviceInfo.Port"}),
              (Outcome{0,
                       "Canonical path:     :Device.DeviceInfo.Port\nType:               unsignedInt\n"
                       "Base:               hex\nDefault:            0x0\n"}));
    EXPECT_EQ(sent().back(), R"(GetParameterAttributes {"ParameterNames":["Device.DeviceInfo.Port"],"Depth":0})");
    EXPECT_EQ(run(process_attr, "info", {"Device.Rules."}),
              (Outcome{0,
                       "Canonical path:     :Device.Rules\nType:               object\n"
                       "Ordered:            true\nMulti-instance:     true\n"}));
    EXPECT_EQ(sent().back(), R"(GetParameterAttributes {"ParameterNames":["Device.Rules."],"Depth":0})");
}

TEST_F(Shell, AttrOfSeveralPathsReturnsZero) {
    EXPECT_EQ(run(process_attr, "attr", {"Nope", "Device"}),
              (Outcome{0,
                       "Nope:\nattr: Nope: no such node\n\nDevice:\nCanonical path:     :Device\n"
                       "Type:               object\n\n"}));
    EXPECT_EQ(run(process_attr, "attr", {"Nope"}).result, -1);
}

TEST_F(Shell, AttrShowsWhatTheCacheKnowsWhenTheDaemonGivesNothing) {
    cd({"Device.DeviceInfo.Enable"});
    daemon_.stop();
    EXPECT_EQ(run(process_attr, "attr"),
              (Outcome{0,
                       "Canonical path:     :Device.DeviceInfo.Enable\nType:               boolean\n"
                       "Default:            false\n"}));
}

TEST_F(Shell, AttrOfThePseudoParameterSendsItWithoutADot) {
    EXPECT_EQ(run(process_attr, "attr", {"Device.Rules.order"}).result, 0);
    EXPECT_EQ(sent().back(), R"(GetParameterAttributes {"ParameterNames":["Device.Rules.order"],"Depth":0})");
    daemon_.stop();
    EXPECT_EQ(run(process_attr, "attr", {"Device.Rules.order"}),
              (Outcome{0,
                       "attr parse error on -1:-1 : NULL root value\nCanonical path:     :Device.Rules.order\n"
                       "Type:               \n"}));
}

TEST_F(OneShot, AttrByMethodSendsTheNamesAsTheyStand) {
    EXPECT_EQ(run(process_attr_by_method, "attr", {"Device.DeviceInfo.Enable", "Device."}),
              (Outcome{0,
                       "Canonical path:     :Device.DeviceInfo.Enable\nType:               boolean\n"
                       "Default:            false\n\n"
                       "Canonical path:     :Device.\nType:               object\n\n"}));
    EXPECT_EQ(run(process_attr_by_method, "info", {"Nope"}), (Outcome{-1, "info: ERROR\n"}));
}

}  // namespace
