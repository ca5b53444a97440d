// Rows of providers against the instances in the store.
#include "ravd/model/live_sync.h"

#include <algorithm>
#include <unordered_set>

#include "ravd/model/check.h"

namespace ravd {

namespace {

// Brings tables up to date, those nested in their rows too.
class Updater {
 public:
    explicit Updater(ModelListener *listener) : listener_(listener) {}

    // path: the table's full name, closed; empty rows delete all live instances.
    void update(Table &table, const LiveRow &served, LiveRows &rows, const std::string &path);

 private:
    void delete_gone(Table &table, const LiveRows &rows, const std::string &path);
    void update_row(Record &record, const LiveRow &served, LiveRows::Row &row, const std::string &path);

    ModelListener *listener_;
};

void Updater::update(Table &table, const LiveRow &served, LiveRows &rows, const std::string &path) {
    delete_gone(table, rows, path);
    for (LiveRows::Row &row : rows.rows) {
        if (row.key.empty()) continue;
        const auto known = table.keys().find(row.key);
        const bool added = known == table.keys().end();
        Record *record = added ? table.add(row.key) : known->second;
        if (!record) return;  // out of numbers
        if (added && listener_) listener_->instance_added(path, record->number());
        update_row(*record, served, row, path + std::to_string(record->number()) + '.');
    }
}

// Looks at the live instances only: users may have added many more.
void Updater::delete_gone(Table &table, const LiveRows &rows, const std::string &path) {
    std::unordered_set<std::string_view> present;
    for (const LiveRows::Row &row : rows.rows) present.insert(row.key);
    std::vector<uint32_t> gone;
    for (const auto &[key, record] : table.keys())
        if (!present.contains(key)) gone.push_back(record->number());
    std::ranges::sort(gone);
    for (const uint32_t number : gone) {
        table.erase(number);
        if (listener_) listener_->instance_deleted(path, number);
    }
}

// value in the form that the parameter's type has, unset when it can't be one of the parameter's.
Value fitting(const SchemaNode &parameter, Value &value) {
    if (value.index() != parameter.default_value.index() && parameter.type != RV_TR_ANY) return {};
    return limit_problem(parameter, value).empty() ? std::move(value) : Value();
}

void Updater::update_row(Record &record, const LiveRow &served, LiveRows::Row &row, const std::string &path) {
    for (const LiveRow::Parameter &parameter : served.parameters) {
        if (record.is_kept(*parameter.node)) continue;
        const auto set = std::ranges::find(row.values, parameter.name, [](const auto &pair) { return pair.first; });
        if (set != row.values.end()) {
            record.set(*parameter.node, fitting(*parameter.node, set->second));
        } else if (parameter.node->fixed) {
            record.set(*parameter.node, {});
        }
    }
    LiveRows none;
    for (const LiveRow::Nested &nested : served.tables) {
        const auto rows = std::ranges::find(row.tables, nested.name, [](const auto &pair) { return pair.first; });
        update(record.table(*nested.node), *nested.row, rows != row.tables.end() ? rows->second : none,
               path + nested.name + '.');
    }
}

}  // namespace

void LiveSync::update(const SchemaNode &object) {
    if (object.live_table == no_slot || done_[object.live_table]) return;
    done_[object.live_table] = true;
    LiveBinding &binding = parts_.live_tables[object.live_table];
    LiveRows rows;
    binding.table->list(rows);
    ModelListener *listener = binding.table->announce && binding.listed ? parts_.listener : nullptr;
    Updater(listener).update(parts_.root->table(object), binding.row, rows, object.full_name() + '.');
    binding.listed = true;
}

void LiveSync::update_below(const SchemaNode &node, Role role) {
    for (const LiveBinding &binding : parts_.live_tables)
        if (binding.node->is_within(node) && binding.node->can_see(role)) update(*binding.node);
}

}  // namespace ravd
