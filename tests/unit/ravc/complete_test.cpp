// Completion, row by row of its table, and hints.
#include "ravc/commands.h"
#include "rv/tr.h"
#include "tests/unit/ravc/complete_fixture.h"

namespace {

class Complete : public CompleteFixture {};

TEST_F(Complete, CommandsStandInTheOrderOfTheTable) {
    EXPECT_EQ(offered("c"), "cd cat catree clear color");
    EXPECT_EQ(offered("cat"), "cat catree");
    EXPECT_EQ(offered("  login"), "login login_if_guest");
    EXPECT_EQ(offered("C"), "");
    EXPECT_EQ(offered("c|d Device"), "cd cat catree clear color");
    std::string all;
    for (const command_row &row : command_table()) all += (all.empty() ? "" : " ") + std::string(row.name);
    EXPECT_EQ(offered(""), all);
    EXPECT_EQ(offered("   "), all);
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(Complete, UnknownCommandsGetNothing) {
    EXPECT_EQ(offered("nothing D"), "");
    for (const char *name : {"clear", "help", "login", "login_if_guest", "logout", "lua", "pwd", "save", "up", "?"})
        EXPECT_EQ(offered(std::string(name) + " "), "") << name;
}

TEST_F(Complete, PathsOfAnyKind) {
    for (const char *name : {"cat", "get", "catree", "del", "rm", "attr", "info", "ls", "select"}) {
        EXPECT_EQ(offered(std::string(name) + " Device.DeviceInfo."), "Bare Enable HostName Level Port UpTime") << name;
        EXPECT_EQ(offered(std::string(name) + " a b :Device.DeviceInfo.U"), "UpTime") << name;
    }
    EXPECT_EQ(offered("order Device.Rules."), "1. 3. max_instance order");
    EXPECT_EQ(offered("order Device.Rules.1 Dev"), "");
    EXPECT_EQ(offered("execute Device.R"), "Reset. Rules.");
    EXPECT_EQ(offered("GetParameterValues Dev"), "Device.");
}

TEST_F(Complete, ObjectsAlone) {
    for (const char *name : {"add", "touch", "cd", "take", "tree"}) {
        EXPECT_EQ(offered(std::string(name) + " Device.DeviceInfo."), "") << name;
        EXPECT_EQ(offered(std::string(name) + " x Device."), "DeviceInfo. IP. Reset. Rules.") << name;
    }
    EXPECT_EQ(offered("cd Device.IP.Interface."), "1. 2.");
}

TEST_F(Complete, SetLeavesOutReadOnlyParameters) {
    EXPECT_EQ(offered("set Device.DeviceInfo."), "Enable HostName Level Port");
    EXPECT_EQ(offered("set Device.DeviceInfo.Port=1 :D"), ":Device.");
}

TEST_F(Complete, PathsStartWhereTheShellStands) {
    EXPECT_EQ(offered("ls "), "Device.");
    EXPECT_EQ(offered("ls :Dev"), ":Device.");
    EXPECT_EQ(offered("ls :"), ":Device.");
    EXPECT_EQ(offered("ls :dEVICE.i"), "IP.");
    cd({"Device.DeviceInfo"});
    EXPECT_EQ(offered("ls "), "Bare Enable HostName Level Port UpTime");
    EXPECT_EQ(offered("ls h"), "HostName");
    EXPECT_EQ(offered("ls :"), ":Device.");
    EXPECT_EQ(offered("ls <.I"), "IP.");
    EXPECT_EQ(offered("ls Nope."), "");
    EXPECT_EQ(offered("ls 'IP.#"), "");
    EXPECT_EQ(offered("ls ho| and more"), "HostName");
    EXPECT_EQ(current_path.path, std::string("Device.DeviceInfo"));
}

TEST_F(Complete, ReservedKeysAreNeverOffered) {
    EXPECT_EQ(offered("ls Device.IP.Interface."), "1. 2. max_instance");
    EXPECT_EQ(offered("ls 'Device.IP.Interface.#"), "");
    EXPECT_EQ(offered("ls Device.IP.Interface.*."), "Enable Name");
    EXPECT_EQ(offered("ls Device.DeviceInfo.*."), "");
}

TEST_F(Complete, ThePreviousPathIsNotPrinted) {
    cd({"Device.DeviceInfo"});
    cd();
    EXPECT_EQ(offered("ls -.P"), "Port");
    EXPECT_EQ(offered("set -.Enable=t"), "true");
    cd({"-"});
    EXPECT_EQ(run(process_cd, "cd", {"-"}).text, ":\n");
}

TEST_F(Complete, LevelsAreFetchedOnce) {
    EXPECT_EQ(offered("ls Device.I"), "IP.");
    EXPECT_EQ(sent(), Sent{R"(GetParameterAttributes {"ParameterNames":["Device."],"Depth":1})"});
    EXPECT_EQ(offered("ls Device."), "DeviceInfo. IP. Reset. Rules.");
    EXPECT_EQ(offered("ls Device.X"), "");
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(Complete, MissingInstancesAreNotLookedForAtEveryKey) {
    EXPECT_EQ(offered("ls Device.IP.Interface.*."), "Enable Name");
    sent();
    EXPECT_EQ(offered("ls Device.IP.Interface.7."), "Enable Name");
    EXPECT_EQ(offered("ls Device.IP.Interface.7.E"), "Enable");
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(Complete, FailedRequestsYieldNothingAndAreMadeAgain) {
    offered("ls Device.");
    daemon_.stop();
    EXPECT_EQ(offered("ls Device.IP."), "");
    daemon_.start();
    EXPECT_EQ(offered("ls Device.IP."), "Interface.");
}

TEST_F(Complete, ValuesOfBooleans) {
    EXPECT_EQ(offered("set Device.DeviceInfo.Enable="), "true false");
    EXPECT_EQ(offered("set Device.DeviceInfo.Enable=t"), "true");
    EXPECT_EQ(offered("set Device.DeviceInfo.Enable=T"), "");
    EXPECT_EQ(offered("set Device.DeviceInfo.Enable=\"f"), "false");
    EXPECT_EQ(offered("ls Device.DeviceInfo.Enable=f"), "false");
}

TEST_F(Complete, ValuesOfWhatTakesNone) {
    EXPECT_EQ(offered("set Device.DeviceInfo.UpTime="), "");
    EXPECT_EQ(offered("set Device.DeviceInfo.HostName="), "");
    EXPECT_EQ(offered("set Device.DeviceInfo="), "");
    EXPECT_EQ(offered("set Device.Reset="), "");
    EXPECT_EQ(offered("set Nope="), "");
    EXPECT_EQ(offered("set Device.DeviceInfo.*="), "");
    EXPECT_EQ(offered("set ="), "");
    EXPECT_EQ(offered("set Device.Rules.order="), "");
}

// Replaces the attributes of a parameter in the cache.
void give_attributes(const char *path, const char *attributes) {
    json_object_set_new(rv_tr_node_find(node_cache_root, path, nullptr), "#attr", json_loads(attributes, 0, nullptr));
}

TEST_F(Complete, ValuesOfFlagsEnumerationsAndReferences) {
    offered("set Device.DeviceInfo.");
    give_attributes("Device.DeviceInfo.HostName", R"({"type":"flag"})");
    EXPECT_EQ(offered("set Device.DeviceInfo.HostName="), "true false");
    give_attributes("Device.DeviceInfo.HostName", R"({"type":"any","enum":["b","a",10,1,true,null,["x"],"","1b"]})");
    EXPECT_EQ(offered("set Device.DeviceInfo.HostName="), R"(b a 10 1 true null ["x"]  1b)");
    EXPECT_EQ(offered("set Device.DeviceInfo.HostName=1"), "10 1 1b");
    give_attributes("Device.DeviceInfo.HostName", R"({"type":"pathRef"})");
    cd({"Device.IP"});
    EXPECT_EQ(offered("set :Device.DeviceInfo.HostName=Dev"), "Device.");
    EXPECT_EQ(offered("set :Device.DeviceInfo.HostName=:D"), ":Device.");
    EXPECT_EQ(offered("set :Device.DeviceInfo.HostName=Device.IP.Interface."), "1. 2.");
    give_attributes("Device.DeviceInfo.HostName", R"({"type":"pathRef","access":"readOnly"})");
    EXPECT_EQ(offered("set :Device.DeviceInfo.HostName=Dev"), "");
    give_attributes("Device.DeviceInfo.HostName", R"({"type":"enumeration","enum":["a=b","b"]})");
    EXPECT_EQ(offered("set :Device.DeviceInfo.HostName="), "a=b b");
}

TEST_F(Complete, ArgumentsOfMethods) {
    EXPECT_EQ(offered("execute Device.Reset "), "Delay More. Reason Times");
    EXPECT_EQ(offered("execute Device.Reset Delay=1 D"), "Delay");
    EXPECT_EQ(offered("execute :Device.Reset. d"), "Delay");
    EXPECT_EQ(offered("execute Device.Reset Delay="), "");
    EXPECT_EQ(offered("execute Device.DeviceInfo "), "");
    EXPECT_EQ(offered("execute Nope "), "");
    EXPECT_EQ(offered("execute 'Device.Reset.#input."), "");
    EXPECT_STREQ(current_path.path, "");
}

TEST_F(Complete, FixedWords) {
    EXPECT_EQ(offered("color "), "autocomplete hint prompt root-prompt");
    EXPECT_EQ(offered("color r"), "root-prompt");
    EXPECT_EQ(offered("color prompt "), "");
    EXPECT_EQ(offered("debug "), "disabled permanent temporary");
    EXPECT_EQ(offered("debug t"), "temporary");
    EXPECT_EQ(offered("download "), "config file firmware");
    EXPECT_EQ(offered("download fi"), "file firmware");
    EXPECT_EQ(offered("upload "), "config");
    EXPECT_EQ(offered("opt "), "autocomplete hint");
    EXPECT_EQ(offered("opt hint "), "off on");
    EXPECT_EQ(offered("opt hint on "), "");
    EXPECT_EQ(offered("opt O"), "");
}

class DeviceModes : public Complete {
 protected:
    DeviceModes() {
        offered("ls Device.DeviceInfo.");
        json_t *info = rv_tr_node_find(node_cache_root, "Device.DeviceInfo", nullptr);
        json_object_set_new(
            info, "DeviceMode",
            json_pack("{s:{s:s, s:[s,s,s,i]}}", "#attr", "type", "enumeration", "enum", "Router", "", "Bridge", 7));
    }
};

TEST_F(DeviceModes, OfReset) {
    EXPECT_EQ(offered("reset "), "Bridge Router");
    EXPECT_EQ(offered("reset R"), "Router");
    EXPECT_EQ(offered("reset r"), "");
    EXPECT_EQ(offered("reset Router "), "");
    cd({"Device.IP"});
    EXPECT_EQ(offered("reset "), "Bridge Router");  // wherever the shell stands
}

TEST_F(DeviceModes, OfReboot) {
    EXPECT_EQ(offered("reboot "), "-f Bridge Router");
    EXPECT_EQ(offered("reboot -"), "-f");
    EXPECT_EQ(offered("reboot -f "), "Bridge Router");
    EXPECT_EQ(offered("reboot -f B"), "Bridge");
    EXPECT_EQ(offered("reboot -f Bridge "), "");
    EXPECT_EQ(offered("reboot Bridge "), "-f");
    EXPECT_EQ(offered("reboot Bridge -f "), "");
    EXPECT_EQ(offered("reboot x "), "-f Bridge Router");
    EXPECT_EQ(offered("reboot -f -f "), "Bridge Router");
}

TEST_F(Complete, WithoutDeviceModes) {
    EXPECT_EQ(device_modes(), nullptr);
    EXPECT_EQ(offered("reset "), "");
    EXPECT_EQ(offered("reboot "), "-f");
}

TEST_F(Complete, HintsFinishTheWord) {
    EXPECT_EQ(hinted("ls Device.Dev"), "iceInfo.");
    EXPECT_EQ(hinted("ls De"), "vice.");
    EXPECT_EQ(hinted("ls :De"), "vice.");
    EXPECT_EQ(hinted("set Device.DeviceInfo.Enable=t"), "rue");
    EXPECT_EQ(hinted("set Device.DeviceInfo.Enable=\"t"), "rue");
    EXPECT_EQ(hinted("pw"), "d");
    EXPECT_EQ(hinted("pwd"), "");
    EXPECT_EQ(hinted("opt h"), "int");
    EXPECT_EQ(hinted("opt hint of"), "f");
}

TEST_F(Complete, NoHintWhereThereIsNoneOrMoreThanOne) {
    EXPECT_EQ(hint_line(nullptr), nullptr);
    for (const char *line : {"", "c", "ls Device.", "ls Device.R", "ls Nope", "help ", "nothing x"})
        EXPECT_EQ(hinted(line), "<none>") << line;
}

TEST_F(Complete, CandidatesUpToANumber) {
    json_auto_t *list = json_array();
    complete_line_upto("ls Device.DeviceInfo.", 21, list, 2);
    EXPECT_EQ(json_array_size(list), 2U);
}

TEST_F(Complete, NamesAreNarrowedKeyByKeyAndForgottenWithTheirLevel) {
    for (const char *typed : {"", "E", "En", "Enable", "e", "H", "Hos", "hO", "x", "Hx", "H"}) {
        json_auto_t *all = json_array();
        for (const char *name : {"Bare", "Enable", "HostName", "Level", "Port", "UpTime"})
            if (strncasecmp(name, typed, strlen(typed)) == 0) json_array_append_new(all, json_string(name));
        EXPECT_EQ(offered(std::string("ls Device.DeviceInfo.") + typed), joined(all)) << typed;
    }
    EXPECT_EQ(offered("ls Device.IP.Interface.1.H"), "");
    EXPECT_EQ(offered("ls Device.DeviceInfo.H"), "HostName");
    node_cache_rebuild();
    EXPECT_EQ(offered("ls Device.DeviceInfo.Ho"), "HostName");
}

std::string described(const char *line) {
    char *text = describe_line(line);
    const std::string copy = text ? text : "<none>";
    free(text);
    return copy;
}

TEST_F(Complete, WordsAreDescribed) {
    EXPECT_EQ(described("pwd"), "pwd\nprint current path");
    EXPECT_EQ(described("debug"), "<none>");
    offered("ls Device.DeviceInfo.");
    sent();
    EXPECT_EQ(described("cat Device.DeviceInfo.HostName"), "Device.DeviceInfo.HostName  string  readWrite");
    EXPECT_EQ(described("set Device.DeviceInfo.Enable=true"), "Device.DeviceInfo.Enable  boolean  readWrite");
    EXPECT_EQ(described("ls Device"), "Device  object");
    EXPECT_EQ(sent(), (Sent{R"(GetParameterAttributes {"ParameterNames":["Device.DeviceInfo.HostName"],"Depth":0})",
                            R"(GetParameterAttributes {"ParameterNames":["Device.DeviceInfo.Enable"],"Depth":0})",
                            R"(GetParameterAttributes {"ParameterNames":["Device."],"Depth":0})"}));
    for (const char *line : {"", "cat ", "cat Nope", "cat :", "cat Device.DeviceInfo.*"})
        EXPECT_EQ(described(line), "<none>") << line;
}

TEST_F(Complete, OptWantsAnOptionAndItsState) {
    const Outcome syntax = {-1, "syntax: opt autocomplete|hint on|off"};
    EXPECT_EQ(run(process_opt, "opt", {"hint", "maybe"}), syntax);
    EXPECT_EQ(run(process_opt, "opt", {"hin", "on"}), syntax);
    EXPECT_EQ(run(process_opt, "opt", {"hint"}), syntax);
    EXPECT_EQ(run(process_opt, "opt"), syntax);
    EXPECT_EQ(run(process_opt, "opt", {"hint", "on", "on"}), syntax);
    for (const char *option : {"hint", "autocomplete"})
        for (const char *state : {"on", "off"}) EXPECT_EQ(run(process_opt, "opt", {option, state}), (Outcome{0, ""}));
}

}  // namespace
