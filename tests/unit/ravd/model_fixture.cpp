// The fake machine, its provider, and results as texts.
#include "tests/unit/ravd/model_fixture.h"

#include "ravd/json_text.h"
#include "ravd/model/write.h"

namespace ravd {

namespace {

void list_interfaces(LiveRows &rows) {
    FakeMachine &machine = FakeMachine::instance();
    machine.listed++;
    for (const auto &interface : machine.interfaces) {
        auto &row = rows.add(interface.name);
        row.set("Name", interface.name).set("Stats.BytesSent", interface.bytes);
        LiveRows &addresses = row.table("Address");
        for (const auto &address : interface.addresses) addresses.add(address).set("IPAddress", address);
    }
}

const char *const served[] = {"Name", "Stats.BytesSent", "Address.{i}.IPAddress"};
const LiveTable tables[] = {{"Device.Net.Interface.", served, list_interfaces, true}};
std::optional<Value> up_time(const Viewer &) {
    return FakeMachine::instance().up_time;
}

std::optional<Value> who(const Viewer &viewer) {
    if (viewer.user.empty()) return std::nullopt;
    return viewer.user;
}

const LiveParameter parameters[] = {{"Device.Info.UpTime", up_time}, {"Device.Info.Who", who}};
const Provider providers[] = {{"fake", parameters, tables}};

Json text_array(std::initializer_list<const char *> texts) {
    Json array(json_array());
    for (const char *text : texts) json_array_append_new(array.get(), json_string(text));
    return array;
}

std::string outcome(const Fault &fault, const std::string &result) {
    if (!fault) return result;
    EXPECT_EQ(result, "kept") << "a fault leaves the result as it was";
    std::string text = std::to_string(fault.code) + ":";
    for (const auto &[name, reason] : fault.parameters) text += " [" + name + "] " + reason + ";";
    if (!fault.detail.empty()) text += " (" + fault.detail + ")";
    return text;
}

// Runs an operation behind a text that was there before, which must survive.
template <typename Operation>
std::string run(Operation operation) {
    std::string result = "kept";
    const Fault fault = operation(result);
    if (!fault) {
        EXPECT_EQ(result.substr(0, 4), "kept");
        result.erase(0, 4);
        EXPECT_TRUE(Json(json_loads(result.c_str(), JSON_REJECT_DUPLICATES, nullptr))) << result;
    }
    return outcome(fault, result);
}

}  // namespace

FakeMachine &FakeMachine::instance() {
    static FakeMachine machine;
    return machine;
}

std::span<const Provider> fake_providers() {
    return providers;
}

ModelTest::ModelTest(const std::string &schema, std::span<const Provider> with) {
    machine = FakeMachine();
    std::string error;
    model = Model::load(RAV_SOURCE "/tests/data/schema/" + schema, with, error);
    EXPECT_TRUE(model) << error;
}

Record &ModelTest::add_rule() {
    Model::Parts &parts = model->parts();
    return *parts.root->table(*parts.schema->root.find("Device")->find("Net")->find("Rule")).add();
}

std::string ModelTest::names(const char *path, bool next_level) {
    return run([&](std::string &result) { return read_names(*model, viewer, path, next_level, result); });
}

std::string ModelTest::values(std::initializer_list<const char *> asked, bool ignore_access_error) {
    const Json texts = text_array(asked);
    return run(
        [&](std::string &result) { return read_values(*model, viewer, texts.get(), ignore_access_error, result); });
}

std::string ModelTest::attributes(std::initializer_list<const char *> asked, int depth) {
    const Json texts = text_array(asked);
    return run([&](std::string &result) { return read_attributes(*model, viewer, texts.get(), depth, false, result); });
}

std::string ModelTest::datamodel(std::initializer_list<const char *> asked, int depth) {
    const Json texts = text_array(asked);
    return run([&](std::string &result) { return read_datamodel(*model, viewer, texts.get(), depth, result); });
}

std::string ModelTest::config(const char *path) {
    return run([&](std::string &result) { return read_config(*model, viewer, path, result); });
}

std::string ModelTest::select(const std::string &selector, size_t limit) {
    return run([&](std::string &result) { return read_selection(*model, viewer, selector, result, limit); });
}

std::string ModelTest::set(const std::string &pairs, bool raw) {
    const Json array(json_loads(pairs.c_str(), 0, nullptr));
    EXPECT_TRUE(array) << pairs;
    return run([&](std::string &result) { return set_values(*model, viewer, array.get(), raw, result); });
}

std::string ModelTest::add(const char *name) {
    return run([&](std::string &result) { return add_object(*model, viewer, name, result); });
}

std::string ModelTest::del(const char *name) {
    return run([&](std::string &result) { return delete_object(*model, viewer, name, result); });
}

std::string ModelTest::list(const std::string &result) {
    const Json reply(json_loads(result.c_str(), 0, nullptr));
    if (!reply) return result;
    const json_t *entries = json_object_get(reply.get(), "ParameterList");
    std::string text;
    for (size_t i = 0; i < json_array_size(entries); i++) {
        if (i > 0) text += ' ';
        text += json_string_value(json_object_get(json_array_get(entries, i), "Name"));
    }
    return text;
}

std::string ModelTest::member(const std::string &result, const char *attribute) {
    const Json reply(json_loads(result.c_str(), 0, nullptr));
    const json_t *entry = json_array_get(json_object_get(reply.get(), "ParameterList"), 0);
    const json_t *value = json_object_get(json_object_get(entry, "Attributes"), attribute);
    std::string text;
    if (value) append_json(text, value);
    return text;
}

}  // namespace ravd
