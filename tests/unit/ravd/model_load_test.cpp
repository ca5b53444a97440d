// Loading schema files: every way in which they can be broken is told with file, line and node, and what holds is
// decoded as clients and the store need it.
#include <filesystem>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "ravd/model/load.h"
#include "tests/support/data_cases.h"
#include "tests/support/temporary_folder.h"
#include "tests/unit/ravd/model_fixture.h"

namespace ravd {

namespace {

std::string without(std::string text, const std::string &part) {
    for (size_t at = text.find(part); at != text.npos; at = text.find(part)) text.erase(at, part.size());
    return text;
}

const SchemaNode *find(const Schema &schema, std::initializer_list<const char *> names) {
    const SchemaNode *node = &schema.root;
    for (const char *name : names) node = node ? node->find(name) : nullptr;
    return node;
}

std::unique_ptr<Schema> house() {
    std::string error;
    auto schema = load_schema(RAV_SOURCE "/tests/data/schema/house", error);
    EXPECT_TRUE(schema) << error;
    return schema;
}

}  // namespace

class BrokenSchema : public testing::TestWithParam<DataCase> {};

TEST_P(BrokenSchema, IsToldWithItsPlace) {
    const std::string folder = GetParam().folder.string();
    std::string error;
    EXPECT_EQ(load_schema(folder, error), nullptr);
    EXPECT_EQ(without(without(error, folder + "/"), folder + ": ") + "\n", GetParam().read("expected.txt"));
}

INSTANTIATE_TEST_SUITE_P(Data, BrokenSchema, testing::ValuesIn(data_cases("schema/bad")),
                         [](const auto &test) { return test.param.name(); });

TEST(LoadSchema, TheDefaultSchemaIsWhole) {
    std::string error;
    const auto schema = load_schema(RAV_SOURCE "/schema", error);
    ASSERT_TRUE(schema) << error;
    EXPECT_TRUE(find(*schema, {"Device", "DeviceInfo", "UpTime"}));
    EXPECT_GT(schema->parameters, 100U);
}

TEST(LoadSchema, AMissingFolderIsTold) {
    std::string error;
    EXPECT_EQ(load_schema("/nonexistent/schema", error), nullptr);
    EXPECT_EQ(error, "/nonexistent/schema: No such file or directory");
}

TEST(LoadSchema, AFileThatCannotBeReadIsTold) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "a.json");
    std::string error;
    EXPECT_EQ(load_schema(folder.path(), error), nullptr);
    EXPECT_EQ(error, folder.path() + "/a.json:1: Is a directory");
}

TEST(LoadSchema, FilesMergeInTheOrderOfTheirNames) {
    const TemporaryFolder folder;
    put_file(folder / "b.json", R"({"Device": {"#attr": {"type": "object"}, "B": {"#attr": {"type": "int"}}}})");
    put_file(folder / "a.json", R"({"Device": {"A": {"#attr": {"type": "int"}}}})");
    put_file(folder / "c.json", R"({"Device": {"#attr": {"type": "object"}, "AA": {"#attr": {"type": "int"}}}})");
    put_file(folder / "readme.txt", "no schema");
    std::string error;
    const auto schema = load_schema(folder.path(), error);
    ASSERT_TRUE(schema) << error;
    const SchemaNode *device = find(*schema, {"Device"});
    ASSERT_EQ(device->children.size(), 3U);
    EXPECT_EQ(device->children[0]->name, "A");
    EXPECT_EQ(device->children[1]->name, "B");
    EXPECT_EQ(device->children[2]->name, "AA");
}

TEST(LoadSchema, LimitsOfDepthAndLengthAreInclusive) {
    const TemporaryFolder folder;
    std::string text = "{\"#attr\": {\"type\": \"object\"}";
    for (int i = 0; i < 128; i++) text += ", \"A\": {\"#attr\": {\"type\": \"object\"}";
    text += ", \"#attr2\": 1";  // wrong in the innermost one, to see that it was reached
    const std::string closing(129, '}');
    put_file(folder / "a.json", text + closing);
    std::string error;
    EXPECT_EQ(load_schema(folder.path(), error), nullptr);
    EXPECT_NE(error.find("\"#attr2\": a reserved name"), error.npos) << error;
    text.resize(text.rfind(','));
    put_file(folder / "a.json", text + closing);
    EXPECT_TRUE(load_schema(folder.path(), error)) << error;
    put_file(folder / "a.json", "{\"" + std::string(258, 'L') + "\": {\"#attr\": {\"type\": \"int\"}}}");
    EXPECT_TRUE(load_schema(folder.path(), error)) << error;
}

TEST(LoadSchema, RightsAreInherited) {
    const auto schema = house();
    const SchemaNode *name = find(*schema, {"Device", "Info", "Name"});
    EXPECT_TRUE(name->can_read(Role::guest));
    EXPECT_FALSE(name->can_write(Role::guest));
    EXPECT_TRUE(name->can_write(Role::user));
    const SchemaNode *target = find(*schema, {"Device", "Net", "Rule", "#template", "Target"});
    EXPECT_TRUE(target->can_write(Role::admin));
    EXPECT_TRUE(target->can_read(Role::user));
    EXPECT_FALSE(target->can_write(Role::user));
    EXPECT_FALSE(target->can_see(Role::guest));
    EXPECT_TRUE(schema->root.can_read(Role::guest));
}

TEST(LoadSchema, AnObjectIsSeenByWhoSeesSomethingBelowIt) {
    const auto schema = house();
    EXPECT_TRUE(find(*schema, {"Device"})->can_see(Role::guest));
    EXPECT_FALSE(find(*schema, {"Device"})->can_read(Role::guest));
    EXPECT_FALSE(find(*schema, {"Device", "Net"})->can_see(Role::guest));
    EXPECT_TRUE(find(*schema, {"Device", "Info", "Command"})->can_see(Role::admin));
    EXPECT_FALSE(find(*schema, {"Device", "Info", "Command"})->can_read(Role::admin));
}

TEST(LoadSchema, DefaultsAreFilledIn) {
    const auto schema = house();
    const auto value = [&](const char *name) {
        std::string text;
        append_value(text, find(*schema, {"Device", "Info", name})->default_value);
        return text;
    };
    EXPECT_EQ(value("Name"), "\"home\"");
    EXPECT_EQ(value("Note"), "\"\"");
    EXPECT_EQ(value("Mode"), "\"Router\"");
    EXPECT_EQ(value("UpTime"), "0");
    EXPECT_EQ(value("Ratio"), "2.0");
    EXPECT_EQ(value("Extra"), "{\"a\":[1,null]}");
}

TEST(LoadSchema, TemplateAndObjectAreFixedTogether) {
    const auto schema = house();
    EXPECT_TRUE(find(*schema, {"Device", "Net", "Interface"})->fixed);  // written on "#template"
    EXPECT_TRUE(find(*schema, {"Device", "Net", "Interface", "#template"})->fixed);
    EXPECT_TRUE(find(*schema, {"Device", "Net", "Interface", "#template", "Address"})->fixed);  // on the object
    EXPECT_TRUE(find(*schema, {"Device", "Net", "Interface", "#template", "Address", "#template"})->fixed);
    EXPECT_FALSE(find(*schema, {"Device", "Net", "Rule"})->fixed);
    EXPECT_FALSE(find(*schema, {"Device", "Net", "Interface", "#template", "Stats"})->fixed);
}

TEST(LoadSchema, EveryRecordHasItsOwnSlots) {
    const auto schema = house();
    const SchemaNode *interface = find(*schema, {"Device", "Net", "Interface", "#template"});
    ASSERT_TRUE(interface->shape);
    ASSERT_EQ(interface->shape->parameters.size(), 3U);  // the count of addresses is stored nowhere
    EXPECT_EQ(interface->shape->parameters[2]->full_name(), "Device.Net.Interface.#template.Stats.BytesSent");
    ASSERT_EQ(interface->shape->tables.size(), 1U);
    ASSERT_EQ(schema->root.shape->tables.size(), 2U);
    for (size_t i = 0; i < schema->root.shape->parameters.size(); i++)
        EXPECT_EQ(schema->root.shape->parameters[i]->slot, i);
    EXPECT_EQ(find(*schema, {"Device", "Info", "Reset", "#input", "Force"})->slot, no_slot);
}

TEST(LoadSchema, CountsWhatFilesSay) {
    const auto schema = house();
    EXPECT_EQ(schema->objects, 7U);  // Device, Info, Net, Interface, Stats, Address, Rule; methods are none
    EXPECT_EQ(schema->parameters, 21U);
}

TEST(LoadSchema, TheVersionFollowsTheContent) {
    const TemporaryFolder folder;
    const std::string text = R"({"Device": {"#attr": {"type": "object"}, "A": {"#attr": {"type": "int"}}}})";
    std::string error;
    const auto version = [&](const std::string &file) {
        put_file(folder / "a.json", file);
        const auto schema = load_schema(folder.path(), error);
        return std::get<std::string>(find(*schema, {"DataModelVersion"})->default_value);
    };
    const std::string first = version(text);
    EXPECT_EQ(first.size(), 16U);
    EXPECT_EQ(version("\n\n" + text), first);
    EXPECT_NE(version(R"({"Device": {"#attr": {"type": "object"}, "A": {"#attr": {"type": "long"}}}})"), first);
    EXPECT_NE(version(R"({"Device": {"#attr": {"type": "object"}, "B": {"#attr": {"type": "int"}}}})"), first);
}

// Providers and schema must fit.
TEST(LoadModel, ProvidersServeOnlyWhatTheSchemaHas) {
    static constexpr auto read = [](const Viewer &) { return std::optional<Value>(); };
    static constexpr auto no_rows = [](LiveRows &) {};
    static const char *const good[] = {"Name"};
    static const char *const counted[] = {"AddressNumberOfEntries"};
    static const char *const nested[] = {"Stats.{i}.BytesSent"};
    static const LiveParameter object[] = {{"Device.Info", read}};
    static const LiveParameter twice[] = {{"Device.Info.Name", read}, {"Device.Info.Name", read}};
    static const LiveTable plain[] = {{"Device.Info.", good, no_rows, false}};
    static const LiveTable table_twice[] = {{"Device.Net.Interface.", good, no_rows, false},
                                            {"Device.Net.Interface.", good, no_rows, false}};
    static const LiveTable table_counted[] = {{"Device.Net.Interface.", counted, no_rows, false}};
    static const LiveTable table_nested[] = {{"Device.Net.Interface.", nested, no_rows, false}};
    const struct {
        Provider provider;
        const char *error;
    } rows[] = {
        {{"p", object, {}}, "p: 'Device.Info' is no parameter of the schema"},
        {{"p", twice, {}}, "p: 'Device.Info.Name' is served twice"},
        {{"p", {}, plain}, "p: 'Device.Info.' is no multi-instance object of the schema"},
        {{"p", {}, table_twice}, "p: 'Device.Net.Interface.' is served twice"},
        {{"p", {}, table_counted},
         "p: 'Device.Net.Interface.{i}.AddressNumberOfEntries' is no stored parameter of the schema"},
        {{"p", {}, table_nested},
         "p: 'Device.Net.Interface.{i}.Stats.{i}.BytesSent' is no stored parameter of the schema"},
    };
    for (const auto &row : rows) {
        std::string error;
        EXPECT_EQ(Model::load(RAV_SOURCE "/tests/data/schema/house", std::span(&row.provider, 1), error), nullptr);
        EXPECT_EQ(error, row.error);
    }
}

TEST(LoadModel, WhatTheSchemaLacksIsNotServed) {
    static constexpr auto read = [](const Viewer &) -> std::optional<Value> { return Value(); };
    static constexpr auto no_rows = [](LiveRows &) {};
    static const char *const served[] = {"Name", "Stats.Bytes", "Lost.{i}.Name"};
    static const LiveParameter lost[] = {{"Device.Info.Lost", read}, {"Device.Lost.Name", read}};
    static const LiveTable tables[] = {{"Device.Lost.", served, no_rows, false},
                                       {"Device.Net.Interface.", served, no_rows, false}};
    const Provider provider = {"p", lost, tables};
    std::string error;
    EXPECT_NE(Model::load(RAV_SOURCE "/tests/data/schema/house", std::span(&provider, 1), error), nullptr) << error;
}

TEST(LoadModel, ABrokenSchemaIsNoModel) {
    std::string error;
    const std::string folder = RAV_SOURCE "/tests/data/schema/bad/base";
    EXPECT_EQ(Model::load(folder, {}, error), nullptr);
    EXPECT_EQ(error.rfind(folder + "/a.json:6: ", 0), 0U) << error;
}

}  // namespace ravd
