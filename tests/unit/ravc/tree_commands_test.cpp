// catree, tree, select and execute: what they send, print and return.
#include "rv/confapi.h"
#include "tests/unit/ravc/shell_fixture.h"

namespace {

const char schema_reply[] =
    R"({"Datamodel":{"Device":{"#attr":{"type":"object"},"IP":{"#attr":{"type":"object"},"Port":{"#attr":)"
    R"({"type":"unsignedInt","base":16}},"Name":{"#attr":{"type":"string"}},"Sub":{"#attr":{"type":"object"},)"
    R"("A":{"#attr":{"type":"int"}}}}}},"DataModelVersion":"1"})";
const char config_reply[] = R"({"Config":{"Device":{"IP":{"Sub":{"A":1},"Port":31,"Name":"x"}}}})";
const char selection_reply[] = R"({"Selection":{"Device.IP.Sub":{"A":1},"Device.IP":{"Port":5}}})";
const char output_reply[] = R"({"ParameterList":[{"Name":"Status","Value":"OK"},{"Name":"Times.Average","Value":3}]})";

const char refusal[] = R"("error":{"code":9003,"message":"Invalid arguments","data":{"Detail":"column 3: no name",)"
                       R"("Data":{"Host":"9003 Invalid arguments: missing"}}})";

using Replies = std::map<std::string, std::string>;

// The model of names, and for other methods these results, or these outcomes: the member that says how it went.
test::Script answer_with(const Replies &results, Replies outcomes = {}) {
    for (const auto &[method, result] : results) outcomes[method] = "\"result\":" + result;
    return test::answer_from_model([outcomes = std::move(outcomes)](test::Peer &peer, const std::string &request) {
        const auto outcome = outcomes.find(test::method_of(request));
        if (outcome == outcomes.end()) return false;
        peer.send(R"({"jsonrpc":"2.0","id":)" + test::id_of(request) + "," + outcome->second + "}\r\n");
        return true;
    });
}

class Trees : public ShellFixture {
 protected:
    Trees()
        : ShellFixture(answer_with({{"GetDatamodel", schema_reply},
                                    {"GetConfig", config_reply},
                                    {"Select", selection_reply},
                                    {"Execute", output_reply}})) {
        rv_confapi_set_ctx(requests_connection());
    }
    ~Trees() override { rv_confapi_set_ctx(nullptr); }
};

class TreesInTheShell : public Trees {
 protected:
    TreesInTheShell() { open_shell(); }
};

const char whole_tree[] =
    "Device.IP\n"
    "├── Port = 0x1f\n"
    "├── Name = 'x'\n"
    "└── Sub \n"
    "    └── A = 1\n";

TEST_F(TreesInTheShell, CatreeDrawsValuesAsTheSchemaHasThem) {
    EXPECT_EQ(run(process_catree, "catree", {"Device.IP"}), (Outcome{0, whole_tree}));
    EXPECT_EQ(sent(),
              (Sent{R"(GetConfig {"Path":"Device.IP"})", R"(GetDatamodel {"Paths":["Device.IP"],"Depth":-1})"}));
}

TEST_F(TreesInTheShell, CatreeTakesPathsFromTheCurrentOneOrFromTheRoot) {
    cd({"Device.IP.Interface"});
    sent();
    run(process_catree, "catree");
    run(process_catree, "catree", {"<.", "..", ":Device.", ":"});
    EXPECT_EQ(sent(),
              (Sent{R"(GetConfig {"Path":"Device.IP.Interface"})",
                    R"(GetDatamodel {"Paths":["Device.IP.Interface"],"Depth":-1})", R"(GetConfig {"Path":"Device.IP"})",
                    R"(GetDatamodel {"Paths":["Device.IP"],"Depth":-1})", R"(GetConfig {"Path":"Device.IP.Interface"})",
                    R"(GetDatamodel {"Paths":["Device.IP.Interface"],"Depth":-1})", R"(GetConfig {"Path":"Device"})",
                    R"(GetDatamodel {"Paths":["Device"],"Depth":-1})", R"(GetConfig {"Path":"."})",
                    R"(GetDatamodel {"Paths":["."],"Depth":-1})"}));
}

TEST_F(TreesInTheShell, CatreeRefusesAPathThatDoesNotFit) {
    const std::string name(257, 'x');
    EXPECT_EQ(run(process_catree, "catree", {name}), (Outcome{0, "catree: " + name + ": path too long\n"}));
    EXPECT_EQ(sent(), Sent{});
}

// A branch that is not there: the daemon refuses, or gives nothing below the root.
class NoConfiguration : public ShellFixture, public testing::WithParamInterface<const char *> {
 protected:
    NoConfiguration() : ShellFixture(answer_with({}, {{"GetConfig", GetParam()}})) {
        rv_confapi_set_ctx(requests_connection());
        open_shell();
    }
    ~NoConfiguration() override { rv_confapi_set_ctx(nullptr); }
};

TEST_P(NoConfiguration, CatreeDrawsNothingAndSaysNothing) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(run(process_catree, "catree", {"Nope", ":Device.Nope"}), (Outcome{0, ""}));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(sent().front(), R"(GetConfig {"Path":"Nope"})");
}

INSTANTIATE_TEST_SUITE_P(All, NoConfiguration,
                         testing::Values(R"("error":{"code":9005,"message":"Invalid parameter name"})",
                                         R"("result":{"Config":{}})", R"("result":{})"));

TEST_F(TreesInTheShell, TreeDrawsTheSchemaAlone) {
    cd({"Device.IP"});
    sent();
    EXPECT_EQ(run(process_tree, "tree"), (Outcome{0, "Device.IP\n├── Port\n├── Name\n└── Sub\n    └── A\n"}));
    EXPECT_EQ(sent(), Sent{R"(GetDatamodel {"Paths":["Device.IP"],"Depth":-1})"});
}

TEST_F(Trees, SelectDrawsEachPathThatWasSelected) {
    EXPECT_EQ(run(process_select, "select", {"Device.IP", "{Port}"}),
              (Outcome{0, "Device.IP.Sub\n└── A = 1\nDevice.IP\n└── Port = 0x5\n"}));
    EXPECT_EQ(sent(), (Sent{R"(GetDatamodel {"Paths":["Device.IP "],"Depth":-1})",
                            R"(Select {"Selector":"Device.IP {Port}"})"}));
    EXPECT_EQ(run(process_select, "select"), (Outcome{-1, "syntax: select <selector>\n"}));
}

TEST_F(TreesInTheShell, ExecuteDrawsTheOutputUnderTheMethodsName) {
    EXPECT_EQ(run(process_execute, "execute", {"Device.Reset", "Reason=why not", "Times=0x10"}),
              (Outcome{0,
                       "key = Reason, value = why not\nkey = Times, value = 0x10\n"
                       "Device.Reset\n├── Status = 'OK'\n└── Times \n    └── Average = 3\n"}));
    EXPECT_EQ(sent().back(), R"(Execute {"Path":"Device.Reset","ParameterList":[{"Name":"Reason","Value":"why not"},)"
                             R"({"Name":"Times","Value":16}]})");
}

TEST_F(TreesInTheShell, ExecuteWithoutArgumentsSendsNone) {
    run(process_execute, "execute", {"Device.Reset."});
    EXPECT_EQ(sent().back(), R"(Execute {"Path":"Device.Reset"})");
    run(process_execute, "execute", {"Device.DeviceInfo"});
    EXPECT_EQ(sent().back(), R"(Execute {"Path":"Device.DeviceInfo"})");
}

struct Refused {
    std::vector<std::string> words;
    const char *text;
};

class ExecuteRefuses : public TreesInTheShell, public testing::WithParamInterface<Refused> {};

TEST_P(ExecuteRefuses, BeforeAnythingIsSent) {
    EXPECT_EQ(run(process_execute, "execute", GetParam().words), (Outcome{-1, GetParam().text}));
    for (const std::string &request : sent()) EXPECT_FALSE(request.starts_with("Execute"));
}

INSTANTIATE_TEST_SUITE_P(
    All, ExecuteRefuses,
    testing::Values(Refused{{}, "execute: no method.\n"}, Refused{{""}, "execute: no method.\n"},
                    Refused{{"Nope"}, "execute: Nope: no such method.\n"},
                    Refused{{"Device.DeviceInfo", "A=1"}, "execute: this method does not have input arguments.\n"},
                    Refused{{"Device.Reset", "Reason"}, "execute: Reason: no value.\n"},
                    Refused{{"Device.Reset", "Times=1", "Reason", "Times=2"},
                            "key = Times, value = 1\nexecute: Reason: no value.\n"},
                    Refused{{"Device.Reset", ""}, "execute: : no value.\n"},
                    Refused{{"Device.Reset", "Nope=1"}, "key = Nope, value = 1\nexecute: Nope: no such node.\n"},
                    Refused{{"Device.Reset", "More=1"},
                            "key = More, value = 1\nexecute: More: is an object or doesn't have default value.\n"},
                    Refused{{"Device.Reset", "Delay=1"},
                            "key = Delay, value = 1\nexecute: Delay: is an object or doesn't have default value.\n"},
                    Refused{{"Device.Reset", "Reason=a", "Times=b"},
                            "key = Reason, value = a\nkey = Times, value = b\nexecute: Times: invalid value b.\n"}));

TEST_F(TreesInTheShell, ExecuteRefusesAnArgumentThatDoesNotFit) {
    const std::string fits = "Reason=" + std::string(248, 'x'), too_long = fits + "x";
    EXPECT_EQ(run(process_execute, "execute", {"Device.Reset", too_long}),
              (Outcome{-1, "execute: " + too_long + ": argument too long.\n"}));
    EXPECT_EQ(run(process_execute, "execute", {"Device.Reset", fits}).result, 0);
}

TEST_F(Trees, OneShotExecuteSendsThePathAsTyped) {
    EXPECT_EQ(run(process_execute, "execute", {"Device.Reset.."}).result, 0);
    EXPECT_EQ(sent(), Sent{R"(Execute {"Path":"Device.Reset.."})"});
    EXPECT_EQ(run(process_execute, "execute", {"Device.Reset", "Reason=x"}),
              (Outcome{-1, "execute: this method does not have input arguments.\n"}));
}

class NoOutput : public ShellFixture {
 protected:
    NoOutput() : ShellFixture(answer_with({{"Execute", R"({"ParameterList":[]})"}})) {}
};

TEST_F(NoOutput, ExecuteEndsWithMinusOneThoughItSucceeded) {
    EXPECT_EQ(run(process_execute, "execute", {"Device.DeviceInfo"}), (Outcome{-1, "Status: OK\n"}));
}

class OutputWithoutNames : public ShellFixture {
 protected:
    OutputWithoutNames()
        : ShellFixture(answer_with({{"Execute", R"({"ParameterList":[{"Value":1},{"Name":"A"}]})"}})) {}
};

TEST_F(OutputWithoutNames, ExecuteSucceedsAndDrawsNothing) {
    EXPECT_EQ(run(process_execute, "execute", {"Device.DeviceInfo"}), (Outcome{0, ""}));
}

// A daemon that refuses what runs and what selects.
class Refusal : public ShellFixture {
 protected:
    Refusal() : ShellFixture(answer_with({}, {{"Execute", refusal}, {"Select", refusal}})) {
        rv_confapi_set_ctx(requests_connection());
    }
    ~Refusal() override { rv_confapi_set_ctx(nullptr); }
};

TEST_F(Refusal, IsShownAsAFailedReply) {
    const Outcome refused = {-1,
                             "[9003] Invalid arguments: column 3: no name\n"
                             "Host: \"9003 Invalid arguments: missing\"\n"};
    EXPECT_EQ(run(process_execute, "execute", {"Device.Reset"}), refused);
    EXPECT_EQ(run(process_select, "select", {"Device.[", "x"}), refused);
    EXPECT_EQ(sent().back(), R"(Select {"Selector":"Device.[ x"})");
}

}  // namespace
