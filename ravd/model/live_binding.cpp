// Looking up the names that providers declare.
#include "ravd/model/live_binding.h"

#include <algorithm>

namespace ravd {

namespace {

// The node that a relative name leads to without passing a multi-instance object; null for none.
SchemaNode *find_below(const SchemaNode &from, std::string_view name) {
    const SchemaNode *node = &from;
    while (node && !name.empty()) {
        const size_t dot = std::min(name.find('.'), name.size());
        node = node->multi ? nullptr : node->find(name.substr(0, dot));
        name.remove_prefix(std::min(dot + 1, name.size()));
    }
    // The tree is the loader's own until the model is complete.
    return const_cast<SchemaNode *>(node);
}

class Binder {
 public:
    Binder(Schema &schema, std::vector<LiveBinding> &bindings, std::string &error)
        : schema_(schema), bindings_(bindings), error_(error) {}

    bool bind(const Provider &provider) {
        provider_ = provider.name;
        return std::ranges::all_of(provider.parameters, [this](const auto &live) { return bind_parameter(live); }) &&
               std::ranges::all_of(provider.tables, [this](const auto &live) { return bind_table(live); });
    }

 private:
    bool fail(std::string_view name, const char *reason) {
        error_ = std::string(provider_) + ": '" + std::string(name) + "' " + reason;
        return false;
    }

    bool bind_parameter(const LiveParameter &live) {
        SchemaNode *node = find_below(schema_.root, live.path);
        if (!node) return true;
        if (!node->is_parameter() || node->by_name_only) return fail(live.path, "is no parameter of the schema");
        if (node->live) return fail(live.path, "is served twice");
        node->live = &live;
        node->source = Source::live;
        return true;
    }

    bool bind_table(const LiveTable &live) {
        SchemaNode *node = find_below(schema_.root, live.path);
        if (!node) return true;
        if (!node->multi) return fail(live.path, "is no multi-instance object of the schema");
        if (node->live_table != no_slot) return fail(live.path, "is served twice");
        node->live_table = static_cast<uint32_t>(bindings_.size());
        node->has_keys = true;
        LiveBinding &binding = bindings_.emplace_back();
        binding.table = &live;
        binding.node = node;
        row_name_ = std::string(live.path) + (std::string_view(live.path).ends_with('.') ? "{i}." : ".{i}.");
        return std::ranges::all_of(live.serves, [&](const char *name) {
            return bind_served(*node, binding.row, name) ||
                   fail(row_name_ + name, "is no stored parameter of the schema");
        });
    }

    // name is relative to the rows of object; "{i}" stands for the rows of tables nested in them. False when what the
    // schema has by that name is no parameter, or has its value from elsewhere.
    bool bind_served(const SchemaNode &object, LiveRow &row, std::string_view name) {
        constexpr std::string_view marker = ".{i}.";
        const size_t nested = name.find(marker);
        SchemaNode *node = find_below(object.instance(), name.substr(0, nested));
        if (!node) return true;
        if (nested == name.npos) {
            if (node->slot == no_slot || !node->is_parameter()) return false;
            row.parameters.push_back({name, node});
            return true;
        }
        if (!node->multi) return false;
        node->has_keys = true;
        return bind_served(*node, nested_row(row, name.substr(0, nested), *node), name.substr(nested + marker.size()));
    }

    static LiveRow &nested_row(LiveRow &row, std::string_view name, const SchemaNode &node) {
        for (LiveRow::Nested &table : row.tables)
            if (table.node == &node) return *table.row;
        return *row.tables.emplace_back(LiveRow::Nested{std::string(name), &node, std::make_unique<LiveRow>()}).row;
    }

    Schema &schema_;
    std::vector<LiveBinding> &bindings_;
    std::string &error_;
    const char *provider_ = "";
    std::string row_name_;  // of the rows being bound, for messages
};

}  // namespace

bool bind_providers(Schema &schema, std::span<const Provider> providers, std::vector<LiveBinding> &bindings,
                    std::string &error) {
    Binder binder(schema, bindings, error);
    return std::ranges::all_of(providers, [&](const Provider &provider) { return binder.bind(provider); });
}

}  // namespace ravd
