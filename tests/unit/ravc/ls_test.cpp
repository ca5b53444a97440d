// ls: what lies below a path, as names and as a table.
#include "tests/unit/ravc/shell_fixture.h"

namespace {

class LsShell : public ShellFixture {
 protected:
    LsShell() { open_shell(); }
};

class LsOneShot : public ShellFixture {};

TEST_F(LsShell, LsShowsChildrenSortedUnderTheTypedPath) {
    EXPECT_EQ(run(process_ls, "ls"), (Outcome{0, "Device.\n"}));
    EXPECT_EQ(run(process_ls, "ls", {"Device."}),
              (Outcome{0, "Device.DeviceInfo.\nDevice.IP.\nDevice.Reset.\nDevice.Rules.\n"}));
    EXPECT_EQ(run(process_ls, "ls", {"-a", "Device.Rules"}),
              (Outcome{0, ".\nDevice.Rules.1.\nDevice.Rules.3.\nDevice.Rules.max_instance\nDevice.Rules.order\n"}));
}

TEST_F(LsShell, LsOfAParameterShowsTheTypedText) {
    EXPECT_EQ(run(process_ls, "ls", {":Device.DeviceInfo.Port"}), (Outcome{0, ":Device.DeviceInfo.Port\n"}));
}

TEST_F(LsShell, LsOfNothingSaysSo) {
    EXPECT_EQ(run(process_ls, "ls", {"Nope"}), (Outcome{-1, "ls: Nope: no such node\n"}));
    EXPECT_EQ(run(process_ls, "ls", {"Nope", "Device.IP"}),
              (Outcome{0, "Nope:\nls: Nope: no such node\n\nDevice.IP:\nDevice.IP.Interface.\n\n"}));
}

const char table_of_device_info[] =
    "Type         Access  Perms  Flags  Name\n"
    "object       RW             O      .\n"
    "string       RO             -      Bare\n"
    "boolean      RW             -      Enable\n"
    "string(64)   RW             -      HostName\n"
    "decimal      RW             -      Level\n"
    "unsignedInt  RW             -      Port\n"
    "unsignedInt  RO             R      UpTime\n";

TEST_F(LsShell, LsLongShowsATableObjectsFirst) {
    EXPECT_EQ(run(process_ls, "ls", {"-l", "Device.DeviceInfo"}), (Outcome{0, table_of_device_info}));
    EXPECT_EQ(sent().back(), R"(GetParameterAttributes {"ParameterNames":["Device.DeviceInfo."],"Depth":1})");
    EXPECT_EQ(run(process_ls, "ls", {"-xla", "Device.DeviceInfo"}).text, table_of_device_info);
}

TEST_F(LsShell, LsLongAtTheRootAsksForTheRoot) {
    run(process_ls, "ls", {"-l"});
    EXPECT_EQ(sent().back(), R"(GetParameterAttributes {"ParameterNames":["."],"Depth":1})");
}

TEST_F(LsShell, LsFlagsOfAnOrderedObjectShowTheSameLetterTwice) {
    EXPECT_NE(run(process_ls, "ls", {"-l", "Device"}).text.find("OMO"), std::string::npos);
}

TEST_F(LsOneShot, LsTakesPathsAsTyped) {
    EXPECT_EQ(run(process_ls, "ls", {"Device.IP."}), (Outcome{0, "Device.IP.Interface.\n"}));
    EXPECT_EQ(sent(), Sent{R"(GetParameterAttributes {"ParameterNames":["Device.IP."],"Depth":1})"});
    EXPECT_EQ(run(process_ls, "ls").text, "DataModelVersion\nDevice.\n");
    EXPECT_EQ(run(process_ls, "ls", {"Nope."}), (Outcome{-1, "ls: Nope.: no such node\n"}));
    EXPECT_EQ(run(process_ls, "ls", {std::string(2580, 'x')}).result, -1);
}

const char header[] = "Type  Access  Perms  Flags  Name\n";

TEST_F(LsOneShot, LsLongSendsOneRequestWithTheTypedTextClosed) {
    EXPECT_EQ(run(process_ls, "ls", {"-l", "Device.DeviceInfo."}), (Outcome{0, table_of_device_info}));
    EXPECT_EQ(run(process_ls, "ls", {"-l", "Device.DeviceInfo"}), (Outcome{0, table_of_device_info}));
    const std::string request = R"(GetParameterAttributes {"ParameterNames":["Device.DeviceInfo."],"Depth":1})";
    EXPECT_EQ(sent(), (Sent{request, request}));
    EXPECT_EQ(run(process_ls, "ls", {"-l"}).result, 0);
    EXPECT_EQ(sent(), Sent{R"(GetParameterAttributes {"ParameterNames":["."],"Depth":1})"});
}

TEST_F(LsOneShot, LsLongThatFailsIsTheHeaderAlone) {
    EXPECT_EQ(run(process_ls, "ls", {"-l", "Nope"}), (Outcome{0, header}));
    daemon_.stop();
    EXPECT_EQ(run(process_ls, "ls", {"-l", "Device."}), (Outcome{0, header}));
}

TEST_F(LsShell, LsLongThatFailsIsTheHeaderAlone) {
    cd({"Device.DeviceInfo"});
    daemon_.stop();
    EXPECT_EQ(run(process_ls, "ls", {"-l"}), (Outcome{0, header}));
}

TEST_F(LsShell, LsOfThePseudoParameterShowsTheTypedText) {
    EXPECT_EQ(run(process_ls, "ls", {"Device.Rules.order"}), (Outcome{0, "Device.Rules.order\n"}));
}

// Lists one node with the attributes (JSON text) that are given.
class LsTable : public ShellFixture {
 protected:
    LsTable()
        : ShellFixture([this](test::Peer &peer) {
              while (const auto request = peer.request()) peer.reply(*request, list_);
          }) {}

    std::string row(const std::string &name, const std::string &members) {
        list_ = R"({"ParameterList":[{"Name":"X.)" + name + "\"" + members + "}]}";
        const std::string text = run(process_ls, "ls", {"-l", "X"}).text;
        return text.substr(text.find('\n') + 1);
    }

 private:
    std::string list_;
};

std::string times(size_t count, const std::string &text) {
    std::string all;
    while (count-- > 0) all += text;
    return all;
}

TEST_F(LsTable, NodeWithoutAttributes) {
    const char unknown[] = "-     -              -      Name\n";
    EXPECT_EQ(row("Name", ""), unknown);
    EXPECT_EQ(row("Name", R"(,"Attributes":null)"), unknown);
}

TEST_F(LsTable, FieldsAreCut) {
    const auto type_row = [&](const std::string &type) {
        const std::string text = row("N", R"(,"Attributes":{"type":")" + type + "\"}");
        return text.substr(0, text.find(' '));
    };
    EXPECT_EQ(type_row(times(49, "t")), times(49, "t"));
    EXPECT_EQ(type_row(times(50, "t")), times(49, "t"));
    EXPECT_EQ(type_row(times(490, "t")), times(49, "t"));
    EXPECT_EQ(type_row(times(48, "t") + "\u00e4"), times(48, "t"));  // never within a character
    EXPECT_EQ(type_row(times(47, "t") + "\u00e4"), times(47, "t") + "\u00e4");
    EXPECT_NE(row("N", R"(,"Attributes":{"perms":")" + times(20, "p") + "\"}").find(" " + times(19, "p") + " "),
              std::string::npos);
    const std::string limits = R"(,"Attributes":{"type":")" + times(45, "t") + R"(","minLength":123456})";
    EXPECT_EQ(row("N", limits).substr(0, 50), times(45, "t") + "(123 ");
    EXPECT_TRUE(row(times(256, "n"), "").ends_with(" " + times(256, "n") + "\n"));
    EXPECT_TRUE(row(times(257, "n"), "").ends_with(" " + times(256, "n") + "\n"));
}

}  // namespace
