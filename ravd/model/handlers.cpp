// Handlers in the schema.
#include "ravd/model/handlers.h"

#include <algorithm>
#include <set>

#include <string.h>

#include "ravd/model/attributes.h"
#include "ravd/model/schema.h"

namespace ravd {

namespace {

constexpr std::string_view prefix = "exec:";
constexpr size_t longest_name = 64;

bool has_action(const SchemaNode &node, Action action) {
    switch (action) {
        case Action::add:
            return node.multi;
        case Action::remove:
            return node.multi || node.is_instance();
        case Action::execute:
            return node.is_method();
        default:
            return !node.is_method();
    }
}

// Whether a handler may tell the parameter's value: it is not the model's own.
bool can_be_told(const SchemaNode &parameter) {
    return !parameter.by_name_only && parameter.type != RV_TR_SECRET &&
           (parameter.source == Source::stored || parameter.source == Source::live);
}

void tie(Schema &schema, SchemaNode &node, const SchemaNode *teller) {
    if (node.is_method()) return;
    if (node.handlers) {
        const Handlers &handlers = *node.handlers;
        if (!handlers.of(Action::get).empty()) teller = &node;
        schema.has_tellers |= !handlers.of(Action::get).empty();
        schema.has_redrawn |= !handlers.of(Action::redraw).empty();
        for (const Action action : {Action::set, Action::add, Action::remove})
            schema.has_changers |= !handlers.of(action).empty();
    }
    if (node.is_parameter() && can_be_told(node)) node.teller = teller;
    for (const auto &child : node.children) tie(schema, *child, teller);
}

void collect(const SchemaNode &node, std::set<std::string> &names) {
    if (node.handlers) names.insert(node.handlers->programs.begin(), node.handlers->programs.end());
    for (const auto &child : node.children) collect(*child, names);
}

}  // namespace

const char *action_name(Action action) {
    constexpr const char *names[] = {"get", "set", "add", "delete", "execute", "redraw"};
    return names[static_cast<size_t>(action)];
}

bool is_program_name(std::string_view name) {
    const auto plain = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c && strchr("_-+.", c));
    };
    return !name.empty() && name.size() <= longest_name && name.front() != '.' && std::ranges::all_of(name, plain);
}

std::optional<AttributeProblem> decode_handlers(SchemaNode &node, const json_t *attr) {
    const json_t *rows = json_object_get(attr, "handlers");
    for (size_t i = 0; i < json_array_size(rows); i++) {
        const json_t *row = json_array_get(rows, i);
        std::string_view name = json_string_value(json_object_get(row, "handler"));
        if (!name.starts_with(prefix)) continue;
        name.remove_prefix(prefix.size());
        const auto number = static_cast<size_t>(json_integer_value(json_object_get(row, "action")));
        const std::string action = action_name(static_cast<Action>(number));
        if (!is_program_name(name)) return AttributeProblem{"handlers", "\"handlers\": no name of a program"};
        if (!has_action(node, static_cast<Action>(number)))
            return AttributeProblem{"handlers", "\"handlers\": a node of this kind has no action \"" + action + "\""};
        if (!node.handlers) node.handlers = std::make_unique<Handlers>();
        std::string &program = node.handlers->programs[number];
        if (!program.empty())
            return AttributeProblem{"handlers", "\"handlers\": two programs for the action \"" + action + "\""};
        program = name;
    }
    return std::nullopt;
}

void tie_handlers(Schema &schema) {
    tie(schema, schema.root, nullptr);
}

const SchemaNode *handling_node(const SchemaNode &node, Action action) {
    const SchemaNode *at = &node;
    while (at && !(at->handlers && !at->handlers->of(action).empty())) at = at->parent;
    return at;
}

std::vector<std::string> all_handlers(const Schema &schema) {
    std::set<std::string> names;
    collect(schema.root, names);
    names.erase("");
    return {names.begin(), names.end()};
}

}  // namespace ravd
