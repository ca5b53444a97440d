// What attributes of cache nodes say, and finding nodes by name.
#include <memory>

#include <gtest/gtest.h>

#include "rv/tr.h"

namespace {

struct Release {
    void operator()(json_t *value) const { json_decref(value); }
};
using Json = std::unique_ptr<json_t, Release>;

Json parse(const char *text) {
    json_error_t error;
    Json value(json_loads(text, 0, &error));
    EXPECT_TRUE(value) << error.text;
    return value;
}

}  // namespace

TEST(NodeType, ComesFromTheAttributes) {
    EXPECT_EQ(rv_tr_dm_node_type_get(parse(R"({"#attr": {"type": "method"}})").get()), RV_TR_METHOD);
    EXPECT_EQ(rv_tr_dm_node_type_get(parse(R"({"#attr": {"type": "flag"}})").get()), RV_TR_FLAG);
    for (const char *node : {"{}", R"({"#attr": {}})", R"({"#attr": {"type": 3}})", R"({"#attr": 1})", "[]"})
        EXPECT_EQ(rv_tr_dm_node_type_get(parse(node).get()), RV_TR_UNKNOWN) << node;
    EXPECT_EQ(rv_tr_dm_node_type_get(nullptr), RV_TR_UNKNOWN);
}

TEST(NodeBase, IsTenUnlessTheSchemaGivesAKnownOne) {
    const auto base = [](const char *value) {
        return rv_tr_dm_node_get_base(parse((std::string(R"({"#attr": {"base": )") + value + "}}").c_str()).get());
    };
    EXPECT_EQ(base("2"), 2);
    EXPECT_EQ(base("8"), 8);
    EXPECT_EQ(base("10"), 10);
    EXPECT_EQ(base("16"), 16);
    for (const char *value : {"7", "0", "-16", "\"16\"", "4294967312", "16.0", "null"})
        EXPECT_EQ(base(value), 10) << value;
    EXPECT_EQ(rv_tr_dm_node_get_base(parse("{}").get()), 10);
    EXPECT_EQ(rv_tr_dm_node_get_base(nullptr), 10);
}

class NodeFind : public testing::Test {
 protected:
    Json root = parse(R"({"Device": {"IP": {"Interface": {
        "#template": {"Enable": {"#attr": {"type": "boolean"}}},
        "1": {"Enable": {"#attr": {"type": "int"}}}}}}})");

    int type_of(const char *name) { return rv_tr_dm_node_type_get(rv_tr_node_find(root.get(), name, name)); }
};

TEST_F(NodeFind, FollowsTheElements) {
    EXPECT_EQ(rv_tr_node_find(root.get(), "", nullptr), root.get());
    EXPECT_EQ(rv_tr_node_find(root.get(), ".", nullptr), root.get());
    EXPECT_EQ(rv_tr_node_find(root.get(), nullptr, nullptr), root.get());
    json_t *ip = json_object_get(json_object_get(root.get(), "Device"), "IP");
    EXPECT_EQ(rv_tr_node_find(root.get(), "Device.IP", nullptr), ip);
    EXPECT_EQ(rv_tr_node_find(root.get(), "Device.IP.", "IP"), ip);
}

TEST_F(NodeFind, InstancesThatTheTreeLacksAreFoundInTheTemplate) {
    EXPECT_EQ(type_of("Device.IP.Interface.1.Enable"), RV_TR_INT);
    EXPECT_EQ(type_of("Device.IP.Interface.2.Enable"), RV_TR_BOOLEAN);
    EXPECT_EQ(type_of("Device.IP.Interface.#template.Enable"), RV_TR_BOOLEAN);
    EXPECT_EQ(type_of("Device.IP.Interface.x.Enable"), RV_TR_UNKNOWN);
}

TEST_F(NodeFind, NullForWhatIsNotThere) {
    for (const char *name : {"Nix", "Device.Nix", "device.IP", "Device.IP.7", "Device.IP.Interface.2.Nix.X",
                             "Device.IP.Interface.1.Enable.#attr"})
        EXPECT_EQ(rv_tr_node_find(root.get(), name, nullptr), nullptr) << name;
    EXPECT_EQ(rv_tr_node_find(nullptr, "Device", nullptr), nullptr);
}

TEST(InstanceNumber, IsOneToTwentyDigits) {
    for (const char *text : {"0", "1", "007", "4294967296", "12345678901234567890"})
        EXPECT_EQ(rv_tr_is_instance_number(text), 1) << text;
    for (const char *text : {"", "-1", "+1", "1 ", " 1", "1x", "0x1", "123456789012345678901", "\u0661", "#template"})
        EXPECT_EQ(rv_tr_is_instance_number(text), 0) << text;
    EXPECT_EQ(rv_tr_is_instance_number(nullptr), 0);
}
