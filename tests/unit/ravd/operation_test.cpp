// Executing methods of the model: which one a path means, what its arguments may be, and how its outputs are listed.
#include "ravd/model/operation.h"

#include "ravd/operations/operations.h"
#include "tests/unit/ravd/model_fixture.h"

namespace ravd {
namespace {

class OperationTest : public ModelTest {
 protected:
    OperationTest() : ModelTest("methods", {}) { EXPECT_EQ(add("Device.Row."), R"({"InstanceNumber":1,"Status":0})"); }

    // The full name, the pattern and the number of the instance, or the fault.
    std::string find(const std::string &path) {
        operation = Operation();
        const Fault fault = find_operation(*model, viewer, path, operation);
        if (fault) return text_of(fault);
        return operation.name + " " + operation.pattern + " " + std::to_string(operation.instance);
    }
    // The arguments as text, or the fault. list: JSON text.
    std::string read(const std::string &list) {
        EXPECT_EQ(find("Device.Probe"), "Device.Probe. Device.Probe 0");
        const Json json(json_loads(list.c_str(), 0, nullptr));
        EXPECT_TRUE(json) << list;
        const Fault fault = read_arguments(*model, viewer, json.get(), operation);
        return fault ? text_of(fault) : arguments_for_log(operation);
    }
    static std::string text_of(const Fault &fault) {
        std::string text = std::to_string(fault.code) + ":";
        for (const auto &[name, reason] : fault.parameters) text += " [" + name + "] " + reason + ";";
        return text;
    }
    // The fault's text about one argument beside the mandatory ones; "" when it was taken.
    std::string one(const std::string &name, const std::string &value) {
        const std::string outcome = read(R"([{"Name":"Host","Value":"h"},{"Name":"Id","Value":""},{"Name":")" + name +
                                         R"(","Value":)" + value + "}]");
        if (outcome.starts_with("{")) return "";
        const std::string before = "9003: [" + name + "] ";
        EXPECT_EQ(outcome.substr(0, before.size()), before);
        return outcome.substr(before.size(), outcome.size() - before.size() - 1);
    }

    Operation operation;
};

constexpr char no_such_name[] = "9005 Invalid parameter name";

TEST_F(OperationTest, PathsWithAndWithoutTheirClosingDot) {
    EXPECT_EQ(find("Device.Row.1.Do"), "Device.Row.1.Do. Device.Row.{i}.Do 1");
    EXPECT_EQ(find("Device.Row.1.Do."), "Device.Row.1.Do. Device.Row.{i}.Do 1");
}

TEST_F(OperationTest, WhatIsNoMethodOfAnExistingInstance) {
    for (const char *path : {"Device.Row.2.Do", "Device.Row.#template.Do", "Device.Row.Do", "Device.Text", "Device.",
                             ".", "", "Device.Probe.#input.", "Device.Probe.#input.Host", "Device.Nothing"}) {
        EXPECT_EQ(find(path), std::string("9005: [") + path + "] " + no_such_name + ";");
    }
}

TEST_F(OperationTest, WhoMayWriteMayExecute) {
    EXPECT_EQ(find("Device.AdminOnly"), "Device.AdminOnly. Device.AdminOnly 0");
    viewer.role = Role::user;
    EXPECT_EQ(find("Device.AdminOnly"), "9001: [Device.AdminOnly] 9001 Request denied;");
    EXPECT_EQ(find("Device.Probe"), "Device.Probe. Device.Probe 0");
    viewer.role = Role::guest;
    EXPECT_EQ(find("Device.AdminOnly"), "9005: [Device.AdminOnly] 9005 Invalid parameter name;");
    EXPECT_EQ(find("Device.Probe"), "9001: [Device.Probe] 9001 Request denied;");
}

TEST_F(OperationTest, DefaultsAreFilledInAndNullCountsAsNotGiven) {
    const std::string filled =
        R"({"Host":"h","Count":3,"Key":"***","Id":"ab","Code":"","Via":"","Deep.Fast":true,"Hidden":0})";
    EXPECT_EQ(read(R"([{"Name":"Host","Value":"h"},{"Name":"Id","Value":"ab"}])"), filled);
    EXPECT_EQ(read(R"([{"Name":"Id","Value":"ab"},{"Name":"Count","Value":null},{"Name":"Host","Value":"h"}])"),
              filled);
    EXPECT_EQ(read(R"([{"Name":"Host","Value":"h"},{"Name":"Id","Value":"ab"},{"Name":"Deep.Fast","Value":false},
                       {"Name":"Count","Value":10},{"Name":"Key","Value":"open"}])"),
              R"({"Host":"h","Count":10,"Key":"***","Id":"ab","Code":"","Via":"","Deep.Fast":false,"Hidden":0})");
    EXPECT_EQ(operation.argument<std::string>("Key"), "open");
    EXPECT_EQ(operation.argument<int64_t>("Count"), 10);
}

TEST_F(OperationTest, EveryOffendingArgumentIsNamed) {
    EXPECT_EQ(read("[]"), "9003: [Host] 9003 Invalid arguments: missing; [Id] 9003 Invalid arguments: missing;");
    EXPECT_EQ(read(R"([{"Name":"Id","Value":null},{"Name":"Nope","Value":1},{"Name":"Host","Value":7},
                       {"Name":"Count","Value":11}])"),
              "9003: [Nope] 9005 Invalid parameter name; [Host] 9006 Invalid parameter type: string wanted; "
              "[Count] 9007 Invalid parameter value: 11 is above 10; [Id] 9003 Invalid arguments: missing;");
}

TEST_F(OperationTest, RefusalsOfOneArgument) {
    EXPECT_EQ(one("Count", "0"), "9007 Invalid parameter value: 0 is below 1");
    EXPECT_EQ(one("Count", "1"), "");
    EXPECT_EQ(one("Count", "\"1\""), "9006 Invalid parameter type: unsignedInt wanted");
    EXPECT_EQ(one("Code", "\"ab\""), "");
    EXPECT_EQ(one("Code", "\"a1\""), "9007 Invalid parameter value: \"a1\" does not match ^[a-z]*$");
    EXPECT_EQ(one("Key", "\"secret\""), "9007 Invalid parameter value: it is longer than 4 characters");
    EXPECT_EQ(one("Via", "\"Device.Row.1.\""), "");
    EXPECT_TRUE(one("Via", "\"Device.Row.2.\"").starts_with("9007 "));
    EXPECT_EQ(one("Id", "\"\""), "9003 Invalid arguments: named twice");
    for (const char *name : {"", ".", "Deep", "Deep.", "Deep.Fast.", "#input.Host", "Status"})
        EXPECT_EQ(one(name, "1"), no_such_name) << name;
}

TEST_F(OperationTest, ArgumentsThatTheViewerMayNotSeeAreUnknown) {
    EXPECT_EQ(one("Hidden", "1"), "");
    viewer.role = Role::user;
    EXPECT_EQ(one("Hidden", "1"), no_such_name);
}

TEST_F(OperationTest, OutputsComeInTheOrderOfTheSchema) {
    find("Device.Probe");
    EXPECT_EQ(operation_result(*operation.method, {}), R"({"ParameterList":[]})");
    EXPECT_EQ(operation_result(*operation.method,
                               {{"Deep.Best", int64_t{-1}}, {"Nope", true}, {"Status", std::string("Complete \"x\"")}}),
              R"({"ParameterList":[{"Name":"Status","Value":"Complete \"x\""},{"Name":"Deep.Best","Value":-1}]})");
}

TEST_F(OperationTest, OutputsOfATableComeAsTheyAre) {
    find("Device.Probe");
    const NamedValues outputs = {{"Hop.2.Name", "b"},         {"Hop.10.Name", "c"}, {"Hop.1.Name", "a"},
                                 {"Hop.x.Name", "-"},         {"Hop.1.No", "-"},    {"Hop.1.", "-"},
                                 {"Hop.#template.Name", "-"}, {"Status", "s"}};
    EXPECT_EQ(operation_result(*operation.method, outputs),
              R"({"ParameterList":[{"Name":"Status","Value":"s"},{"Name":"Hop.2.Name","Value":"b"},)"
              R"({"Name":"Hop.10.Name","Value":"c"},{"Name":"Hop.1.Name","Value":"a"}]})");
}

TEST_F(OperationTest, PatternsOfAllMethods) {
    EXPECT_EQ(all_operations(*model),
              (std::vector<std::string>{"Device.Probe", "Device.AdminOnly", "Device.Row.{i}.Do"}));
}

// A method of the default model that did nothing would be a promise not kept; a row without its method never runs.
TEST(Operations, TheDefaultModelAndTheTableAreTheSame) {
    std::string error;
    const auto model = Model::load(RAV_SOURCE "/schema", {}, error);
    ASSERT_TRUE(model) << error;
    std::vector<std::string> in_model = all_operations(*model), in_table;
    for (const OperationRow &row : bound_operations()) in_table.emplace_back(row.pattern);
    std::ranges::sort(in_model);
    std::ranges::sort(in_table);
    EXPECT_FALSE(in_model.empty());
    EXPECT_EQ(in_model, in_table);
}

}  // namespace
}  // namespace ravd
