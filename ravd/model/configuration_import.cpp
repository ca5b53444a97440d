// Importing: the document is built up aside, as a store of its own, where everything is checked; then the model's store
// is made the same, which cannot fail any more.
#include <algorithm>
#include <set>

#include "ravd/json_text.h"
#include "ravd/model/check.h"
#include "ravd/model/configuration.h"
#include "ravd/model/configuration_parts.h"
#include "ravd/model/convert.h"
#include "ravd/model/parts.h"
#include "ravd/model/reading.h"

namespace ravd {

namespace {

// The document's own store.
class Draft {
 public:
    explicit Draft(Model::Parts &parts) : parts_(parts), root_(*parts.schema->root.shape, 0) {}

    // Returns false when it is no document of this kind.
    bool read(const json_t *document);
    // Every name that was refused.
    Fault take_refused() { return std::move(refused_); }
    Record &root() { return root_; }

 private:
    void refuse(std::string_view name, int code, const std::string &reason);
    Record *resolve(std::string_view name, Path &path);
    void take_table(const json_t *table);
    void take_row(Table &table, const std::string &name, const json_t *row);
    void take_value(const char *name, json_t *json);

    Model::Parts &parts_;
    Record root_;
    Fault refused_;
};

void Draft::refuse(std::string_view name, int code, const std::string &reason) {
    add_failure(refused_, name, code);
    if (!reason.empty()) refused_.parameters.back().second += ": " + reason;
}

bool Draft::read(const json_t *document) {
    const char *format = json_string_value(json_object_get(document, "Format"));
    const json_t *tables = json_object_get(document, "Tables");
    json_t *values = json_object_get(document, "Values");
    if (!format || std::string_view(format) != configuration_format || !json_is_array(tables) ||
        !json_is_object(values) || !json_is_boolean(json_object_get(document, "Secrets"))) {
        return false;
    }
    size_t index = 0;
    json_t *table = nullptr, *value = nullptr;
    const char *name = nullptr;
    json_array_foreach(tables, index, table) take_table(table);
    json_object_foreach(values, name, value) take_value(name, value);
    if (refused_) refused_.code = 9003;
    return true;
}

// The record that holds the node of a name, or null, with the refusal noted.
Record *Draft::resolve(std::string_view name, Path &path) {
    Record *record = nullptr;
    if (parse_path(*parts_.schema, name, path) && !path.every_instance && !path.in_method && !parts_.is_kept(name)) {
        record = &root_;
        for (const auto &[text, node] : path.elements) {
            if (!record || !node->is_instance()) continue;
            record = record->table(*node->parent).find(static_cast<uint32_t>(strtoul(text.data(), nullptr, 10)));
        }
    }
    if (!record) refuse(name, 9005, "");
    return record;
}

void Draft::take_table(const json_t *table) {
    const char *name = json_string_value(json_object_get(table, "Name"));
    const json_t *last = json_object_get(table, "Last"), *rows = json_object_get(table, "Rows");
    const json_int_t highest = json_integer_value(last);
    if (!name || !json_is_array(rows) || highest < 1 || highest >= instance_limit)
        return refuse(name ? name : "Tables", 9003, "not a table as configurations have them");
    Path path;
    Record *owner = resolve(name, path);
    if (!owner) return;
    if (!path.node->multi || path.node->is_parameter() || !is_configured_table(*path.node))
        return refuse(name, 9005, "");
    Table &instances = owner->table(*path.node);
    if (instances.next_number() != 1) return refuse(name, 9003, "named twice");
    size_t index = 0;
    json_t *row = nullptr;
    json_array_foreach(rows, index, row) take_row(instances, name, row);
    if (instances.highest() > highest) refuse(name, 9003, "an instance is above Last");
    instances.reserve_numbers(static_cast<uint32_t>(highest));
}

void Draft::take_row(Table &table, const std::string &name, const json_t *row) {
    const json_int_t number = json_integer_value(json_is_array(row) ? json_array_get(row, 0) : row);
    const char *key = json_is_array(row) ? json_string_value(json_array_get(row, 1)) : "";
    if (number < 1 || number >= instance_limit || !key || (json_is_array(row) && !*key))
        return refuse(name, 9003, "not an instance as configurations have them");
    const std::string text = std::to_string(number);
    if (table.find(static_cast<uint32_t>(number)) || (*key && table.keys().contains(key)))
        return refuse(name + text + ".", 9003, "named twice");
    const bool is_provided = table.node().live_table != no_slot || *key;
    if (*key && !table.node().has_keys) return refuse(name + text + ".", 9003, "nobody provides such instances");
    if (!*key && table.node().fixed && !is_provided) return refuse(name + text + ".", 9008, "");
    table.insert(static_cast<uint32_t>(number), key);
}

void Draft::take_value(const char *name, json_t *json) {
    Path path;
    Record *record = resolve(name, path);
    if (!record) return;
    const SchemaNode &node = *path.node;
    if (!node.is_parameter() || path.closed) return refuse(name, 9005, "");
    if (!is_configured(node)) return refuse(name, 9008, "");
    Value value;
    if (const Refusal refusal = convert(node, json, false, value)) return refuse(name, refusal.code, refusal.reason);
    if (const std::string problem = value_problem(node, value); !problem.empty())
        return refuse(name, 9007, complaint(node, value, problem));
    const auto *text = std::get_if<std::string>(&value);
    if (node.unique && record->owner() && !(text && text->empty())) {
        bool taken = false;
        record->owner()->each_holder(node, value, [&](const Record &other) { taken |= other.is_set(node); });
        if (taken) return refuse(name, 9007, complaint(node, value, "is taken by another instance"));
    }
    record->set(node, std::move(value));
    record->keep(node);
}

// Makes the model's records those of a draft, or only finds what handlers would be asked about that.
class Application {
 public:
    Application(Model::Parts &parts, bool with_secrets) : parts_(parts), with_secrets_(with_secrets) {}

    void apply(Record &draft) { apply(*parts_.root, draft, *parts_.schema->root.shape, ""); }
    HandledChanges plan(Record &draft) {
        planning_ = true;
        apply(draft);
        return std::move(plan_);
    }

 private:
    // prefix: as Export has it.
    void apply(Record &record, Record &draft, const Shape &shape, const std::string &prefix);
    void set(Record &record, Record &draft, const SchemaNode &parameter, const std::string &name);
    void tell(const SchemaNode &parameter, const std::string &name, const Value &before, const Value &after) const;
    void apply_table(Table &table, Table &draft, const std::string &name);
    void remove_rows(Table &table, const std::set<uint32_t> &staying, const std::string &name);
    void put_in_order(Table &table, const std::vector<Record *> &rows, const std::string &name);
    Record *counterpart(Table &table, const Record &row, const std::string &name, Record &nothing);

    Model::Parts &parts_;
    const bool with_secrets_;
    bool planning_ = false;
    HandledChanges plan_;
};

void Application::apply(Record &record, Record &draft, const Shape &shape, const std::string &prefix) {
    for (const SchemaNode *parameter : shape.parameters) {
        if (!is_configured(*parameter) || (!with_secrets_ && parameter->type == RV_TR_SECRET)) continue;
        set(record, draft, *parameter, prefix + parameter->name_in_record());
    }
    for (const SchemaNode *object : shape.tables) {
        const std::string name = prefix + object->name_in_record() + '.';
        if (is_configured_table(*object) && !parts_.is_kept(name))
            apply_table(record.table(*object), draft.table(*object), name);
    }
}

void Application::set(Record &record, Record &draft, const SchemaNode &parameter, const std::string &name) {
    const bool wanted = draft.is_set(parameter);
    if (!wanted && record.is_live() && !record.is_kept(parameter)) return;  // the provider's
    const Value before = record.value(parameter);
    if (planning_) {
        const Value &after = wanted ? draft.value(parameter) : parameter.default_value;
        Record &place = record.owner() || !draft.owner() ? record : draft;  // the draft's, of an instance to come
        if (before != after) plan_.set({&parameter, &place, name}, before, after);
        return;
    }
    record.set(parameter, wanted ? draft.value(parameter) : Value());
    if (wanted) {
        record.keep(parameter);
    } else {
        record.give_back(parameter);
    }
    if (before != record.value(parameter)) tell(parameter, name, before, record.value(parameter));
}

void Application::tell(const SchemaNode &parameter, const std::string &name, const Value &before,
                       const Value &after) const {
    parts_.record(
        {RecordedChange::Kind::set, name, recorded_value(parameter, before), recorded_value(parameter, after)});
    if (!parts_.listener) return;
    std::string text;
    append_value(text, parameter.type == RV_TR_SECRET ? Value(std::string()) : after);
    parts_.listener->value_changed(name, text);
}

// The instance of the table that is the draft's row, made where there is none yet (planning: an empty one stands for
// it); null when its number is another's.
Record *Application::counterpart(Table &table, const Record &row, const std::string &name, Record &nothing) {
    if (row.is_live()) {
        const auto known = table.keys().find(row.key());
        if (known != table.keys().end()) return known->second;
    }
    Record *present = table.find(row.number());
    if (present) return present->is_live() == row.is_live() ? present : nullptr;
    if (planning_) {
        plan_.add(table.node(), name, row.number());
        return &nothing;
    }
    Record *made = &table.insert(row.number(), std::string(row.key()));
    parts_.record({RecordedChange::Kind::add, name + std::to_string(row.number()) + '.', {}, {}});
    if (parts_.listener) parts_.listener->instance_added(name, row.number());
    return made;
}

void Application::remove_rows(Table &table, const std::set<uint32_t> &staying, const std::string &name) {
    std::vector<uint32_t> going;
    for (const auto &row : table.by_number())
        if (!row->is_live() && !staying.contains(row->number())) going.push_back(row->number());
    for (const uint32_t number : going) {
        const std::string path = name + std::to_string(number) + '.';
        if (planning_) {
            plan_.remove(table.node().instance(), path);
            continue;
        }
        table.erase(number);
        parts_.record({RecordedChange::Kind::remove, path, {}, {}});
        if (parts_.listener) parts_.listener->instance_deleted(name, number);
    }
}

void Application::put_in_order(Table &table, const std::vector<Record *> &rows, const std::string &name) {
    std::vector<std::pair<const Record *, uint32_t>> before;
    table.for_each([&](const Record &row) { before.emplace_back(&row, row.index()); });
    for (uint32_t place = 0; place < rows.size(); place++) table.move(*rows[place], place + 1);
    for (const auto &[row, index] : before)
        if (row->index() != index && parts_.listener)
            parts_.listener->value_changed(name + std::to_string(row->number()) + ".index",
                                           std::to_string(row->index()));
}

void Application::apply_table(Table &table, Table &draft, const std::string &name) {
    std::set<uint32_t> staying;
    for (const auto &row : draft.by_number())
        if (!row->is_live()) staying.insert(row->number());
    remove_rows(table, staying, name);
    Record nothing(*table.node().instance().shape, 0);
    std::set<const Record *> given;
    std::vector<Record *> rows;
    draft.for_each([&](Record &row) {
        if (Record *own = counterpart(table, row, name, nothing)) {
            const uint32_t number = own == &nothing ? row.number() : own->number();
            apply(*own, row, *table.node().instance().shape, name + std::to_string(number) + '.');
            given.insert(own);
            rows.push_back(own);
        }
    });
    for (const auto &row : table.by_number())  // a provider's, of which the document says nothing
        if (row->is_live() && !given.contains(row.get()))
            apply(*row, nothing, *table.node().instance().shape, name + std::to_string(row->number()) + '.');
    if (planning_) return;
    if (table.node().ordered) put_in_order(table, rows, name);
    table.reserve_numbers(draft.next_number() - 1);
}

}  // namespace

struct ConfigurationImport::State {
    explicit State(Model &model) : parts(model.parts()), draft(parts) {}

    Fault read(std::string_view document) {
        const Json json(json_loadb(document.data(), document.size(), JSON_REJECT_DUPLICATES, nullptr));
        if (!json || !draft.read(json.get())) return {9018, "not a configuration", {}};
        with_secrets = json_is_true(json_object_get(json.get(), "Secrets"));
        return {};
    }

    Model::Parts &parts;
    Draft draft;
    bool with_secrets = false;
};

ConfigurationImport::ConfigurationImport(Model &model) : state_(std::make_unique<State>(model)) {}
ConfigurationImport::~ConfigurationImport() = default;

Fault ConfigurationImport::read(std::string_view document) {
    Model::Parts &parts = state_->parts;
    LiveSync(parts).update_below(parts.schema->root, Role::admin);
    Fault fault = state_->read(document);
    return fault ? fault : state_->draft.take_refused();
}

Fault ConfigurationImport::read_what_fits(std::string_view document, Fault &refused) {
    Fault fault = state_->read(document);
    refused = state_->draft.take_refused();
    return fault;
}

bool ConfigurationImport::is_admitted() const {
    Model::Parts &parts = state_->parts;
    if (!parts.asks()) return true;
    return parts.admits(Application(parts, state_->with_secrets).plan(state_->draft.root()));
}

void ConfigurationImport::make() {
    Application(state_->parts, state_->with_secrets).apply(state_->draft.root());
}

Fault import_configuration(Model &model, std::string_view document) {
    ConfigurationImport import(model);
    if (Fault fault = import.read(document)) return fault;
    import.make();
    return {};
}

}  // namespace ravd
