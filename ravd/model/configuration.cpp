// Exporting and comparing.
#include "ravd/model/configuration.h"

#include <algorithm>
#include <map>
#include <set>

#include "ravd/json_text.h"
#include "ravd/model/configuration_parts.h"
#include "ravd/model/parts.h"
#include "ravd/model/reading.h"

namespace ravd {

namespace {

class Export {
 public:
    Export(Model::Parts &parts, Secrets secrets) : parts_(parts), secrets_(secrets) {}

    // prefix: the full name of the record, closed; "" for the root's.
    void take(Record &record, const Shape &shape, const std::string &prefix);
    std::string document() const;

 private:
    void take_table(Table &table, const std::string &name);

    Model::Parts &parts_;
    const Secrets secrets_;
    std::string tables_ = "[", values_ = "{";
};

void Export::take(Record &record, const Shape &shape, const std::string &prefix) {
    for (const SchemaNode *parameter : shape.parameters) {
        if (!is_configured(*parameter) || !record.is_set(*parameter)) continue;
        if (record.is_live() && !record.is_kept(*parameter)) continue;
        if (secrets_ == Secrets::left_out && parameter->type == RV_TR_SECRET) continue;
        append_comma(values_);
        append_json_string(values_, prefix + parameter->name_in_record());
        values_ += ':';
        append_value(values_, record.value(*parameter));
    }
    for (const SchemaNode *object : shape.tables) {
        const std::string name = prefix + object->name_in_record() + '.';
        if (is_configured_table(*object) && !parts_.is_kept(name)) take_table(record.table(*object), name);
    }
}

void Export::take_table(Table &table, const std::string &name) {
    if (table.next_number() == 1) return;  // there has never been an instance
    const Shape &shape = *table.node().instance().shape;
    const auto lasts = [inside = holds_configuration(shape)](const Record &row) { return inside || !row.is_live(); };
    append_comma(tables_);
    tables_ += "{\"Name\":";
    append_json_string(tables_, name);
    tables_ += ",\"Last\":" + std::to_string(table.next_number() - 1) + ",\"Rows\":[";
    table.for_each([&](const Record &row) {
        if (!lasts(row)) return;
        append_comma(tables_);
        if (!row.is_live()) {
            tables_ += std::to_string(row.number());
        } else {
            tables_ += '[' + std::to_string(row.number()) + ',';
            append_json_string(tables_, clean_utf8(row.key()));
            tables_ += ']';
        }
    });
    tables_ += "]}";
    table.for_each(
        [&](Record &row) { take(row, *table.node().instance().shape, name + std::to_string(row.number()) + '.'); });
}

std::string Export::document() const {
    const char *secrets = secrets_ == Secrets::included ? "true" : "false";
    return std::string("{\"Format\":\"") + configuration_format + "\",\"Secrets\":" + secrets +
           ",\"Tables\":" + tables_ + "],\"Values\":" + values_ + "}}";
}

// A document as sets: the instances that users have added, closed, and the texts of the values.
struct Content {
    std::set<std::string> instances;
    std::map<std::string, std::string> values;

    explicit Content(std::string_view document) {
        const Json json(json_loadb(document.data(), document.size(), 0, nullptr));
        size_t index = 0, place = 0;
        json_t *table = nullptr, *row = nullptr, *value = nullptr;
        const char *name = nullptr;
        json_array_foreach(json_object_get(json.get(), "Tables"), index, table) {
            const char *path = json_string_value(json_object_get(table, "Name"));
            json_array_foreach(json_object_get(table, "Rows"), place, row) {
                if (json_is_integer(row)) instances.insert(path + std::to_string(json_integer_value(row)) + '.');
            }
        }
        json_object_foreach(json_object_get(json.get(), "Values"), name, value) append_json(values[name], value);
    }

    std::string text(const std::string &path) const {
        const auto found = values.find(path);
        return found != values.end() ? found->second : "";
    }
};

bool is_secret(Model &model, const std::string &path) {
    Path parsed;
    return !parse_path(*model.parts().schema, path, parsed) || parsed.node->type == RV_TR_SECRET;
}

}  // namespace

bool is_configured(const SchemaNode &parameter) {
    const bool is_held = parameter.source == Source::stored || parameter.source == Source::live;
    return is_held && !parameter.fixed && !parameter.runtime;
}

bool holds_configuration(const Shape &shape) {
    return std::ranges::any_of(shape.parameters, [](auto *node) { return is_configured(*node); }) ||
           std::ranges::any_of(shape.tables, [](auto *node) { return is_configured_table(*node); });
}

bool is_configured_table(const SchemaNode &object) {
    return !object.fixed || holds_configuration(*object.instance().shape);
}

std::string export_configuration(Model &model, Secrets secrets) {
    Model::Parts &parts = model.parts();
    LiveSync(parts).update_below(parts.schema->root, Role::admin);
    Export exported(parts, secrets);
    exported.take(*parts.root, *parts.schema->root.shape, "");
    return exported.document();
}

std::string default_configuration() {
    return std::string("{\"Format\":\"") + configuration_format + "\",\"Secrets\":true,\"Tables\":[],\"Values\":{}}";
}

std::vector<Difference> compare_configurations(Model &model, std::string_view before, std::string_view after) {
    const Content old(before), now(after);
    std::map<std::string, Difference> found;
    for (const std::string &path : now.instances)
        if (!old.instances.contains(path)) found[path] = {Difference::Kind::added, path, "", ""};
    for (const std::string &path : old.instances)
        if (!now.instances.contains(path)) found[path] = {Difference::Kind::deleted, path, "", ""};
    const auto compare = [&](const std::string &path) {
        const std::string was = old.text(path), is = now.text(path);
        if (was == is) return;
        const bool secret = is_secret(model, path);
        found[path] = {Difference::Kind::set, path, secret ? "***" : was, secret ? "***" : is};
    };
    for (const auto &[path, text] : old.values) compare(path);
    for (const auto &[path, text] : now.values) compare(path);
    std::vector<Difference> differences;
    for (auto &[path, difference] : found) differences.push_back(std::move(difference));
    return differences;
}

}  // namespace ravd
