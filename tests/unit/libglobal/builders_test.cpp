// What each builder sends.
#include <gtest/gtest.h>

#include "tests/unit/libglobal/client.h"

namespace {

using test::owned;
using test::text_of;

#define REQUEST(method, params) "{\"jsonrpc\":\"2.0\",\"method\":\"" method "\",\"params\":" params "}"

TEST(Builders, EachOneSendsItsMethodAndParams) {
    const struct {
        rv_jrpcmsg *msg;
        const char *text;
    } rows[] = {
        {rv_jrpcmsg_cmd_join_group(UINT32_MAX), REQUEST("JoinGroup", R"({"Group":4294967295})")},
        {rv_jrpcmsg_cmd_get_parameter_names("Device.", 1),
         REQUEST("GetParameterNames", R"({"ParameterPath":"Device.","NextLevel":true})")},
        {rv_jrpcmsg_cmd_get_parameter_names("Device.", 0),
         REQUEST("GetParameterNames", R"({"ParameterPath":"Device.","NextLevel":false})")},
        {rv_jrpcmsg_cmd_get_parameter_values_new(json_pack("[s]", "Device.Time.")),
         REQUEST("GetParameterValues", R"({"ParameterNames":["Device.Time."]})")},
        {rv_jrpcmsg_cmd_get_parameter_attributes_new(json_pack("[s]", "."), -1),
         REQUEST("GetParameterAttributes", R"({"ParameterNames":["."],"Depth":-1})")},
        {rv_jrpcmsg_cmd_set_parameter_values_new(nullptr), REQUEST("SetParameterValues", R"({"ParameterList":[]})")},
        {rv_jrpcmsg_cmd_add_object("Device.Users.User."),
         REQUEST("AddObject", R"({"ObjectName":"Device.Users.User."})")},
        {rv_jrpcmsg_cmd_delete_object("A.1."), REQUEST("DeleteObject", R"({"ObjectName":"A.1."})")},
        {rv_jrpcmsg_cmd_execute_new("A.Do", nullptr), REQUEST("Execute", R"({"Path":"A.Do"})")},
        {rv_jrpcmsg_cmd_execute_new("A.Do", json_pack("[{s:s,s:i}]", "Name", "n", "Value", 1)),
         REQUEST("Execute", R"({"Path":"A.Do","ParameterList":[{"Name":"n","Value":1}]})")},
        {rv_jrpcmsg_cmd_get_datamodel_new(json_pack("[s]", "."), -1),
         REQUEST("GetDatamodel", R"({"Paths":["."],"Depth":-1})")},
        {rv_jrpcmsg_create_new("Logout", nullptr), R"({"jsonrpc":"2.0","method":"Logout"})"},
        {rv_jrpcmsg_create_event_new(16, nullptr), REQUEST("Event", R"({"Group":16})")},
        {rv_jrpcmsg_create_event_new(16, json_string("x")), REQUEST("Event", R"({"Group":16,"Params":"x"})")},
    };
    for (const auto &row : rows) EXPECT_EQ(text_of(owned(row.msg).get()), row.text);
}

TEST(Builders, PairsAreAppendedAndNoValueGoesOutAsNull) {
    const auto set = owned(rv_jrpcmsg_cmd_set_parameter_values_new(nullptr));
    EXPECT_EQ(rv_jrpcmsg_cmd_set_parameter_values_add_new(set.get(), "A", json_integer(1)), 0);
    EXPECT_EQ(rv_jrpcmsg_cmd_set_parameter_values_add_new(set.get(), "B", nullptr), 0);
    EXPECT_EQ(text_of(set.get()),
              REQUEST("SetParameterValues", R"({"ParameterList":[{"Name":"A","Value":1},{"Name":"B","Value":null}]})"));
    const auto execute = owned(rv_jrpcmsg_cmd_execute_new("M", nullptr));
    EXPECT_EQ(rv_jrpcmsg_cmd_set_parameter_values_add_new(execute.get(), "A", json_true()), 0);
    EXPECT_EQ(text_of(execute.get()),
              REQUEST("Execute", R"({"Path":"M","ParameterList":[{"Name":"A","Value":true}]})"));
}

TEST(Builders, AParameterIsAddedAlsoToARequestWithoutParams) {
    const auto msg = test::request("X");
    EXPECT_EQ(rv_jrpcmsg_add_parameter_json_new(msg.get(), "IgnoreAccessError", json_true()), 0);
    EXPECT_EQ(text_of(msg.get()), REQUEST("X", R"({"IgnoreAccessError":true})"));
    const auto array = owned(rv_jrpcmsg_create_new("X", json_array()));
    EXPECT_EQ(rv_jrpcmsg_add_parameter_json_new(array.get(), "A", json_true()), -1);
}

TEST(Builders, TextsThatAreNotUtf8CanNotBeSent) {
    const char *bad = "\xff";
    EXPECT_EQ(rv_jrpcmsg_create_new(bad, json_object()), nullptr);
    EXPECT_EQ(rv_jrpcmsg_cmd_get_parameter_names(bad, 1), nullptr);
    EXPECT_EQ(rv_jrpcmsg_cmd_add_object(bad), nullptr);
    EXPECT_EQ(rv_jrpcmsg_cmd_delete_object(bad), nullptr);
    EXPECT_EQ(rv_jrpcmsg_cmd_execute_new(bad, json_array()), nullptr);
    const auto set = owned(rv_jrpcmsg_cmd_set_parameter_values_new(nullptr));
    EXPECT_EQ(rv_jrpcmsg_cmd_set_parameter_values_add_new(set.get(), bad, json_true()), -1);
    EXPECT_EQ(rv_jrpcmsg_add_parameter_json_new(set.get(), bad, json_true()), -1);
    EXPECT_EQ(text_of(set.get()), REQUEST("SetParameterValues", R"({"ParameterList":[]})"));
}

TEST(Builders, TheReferenceIsTakenAlsoByAFailure) {
    json_t *value = json_array();
    json_incref(value);
    EXPECT_EQ(rv_jrpcmsg_cmd_execute_new("\xff", value), nullptr);
    EXPECT_EQ(value->refcount, 1U);
    json_incref(value);
    EXPECT_EQ(rv_jrpcmsg_create_new("\xff", value), nullptr);
    EXPECT_EQ(value->refcount, 1U);
    json_decref(value);
}

}  // namespace
