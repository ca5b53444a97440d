// Programs that the schema names for its nodes: "handlers" with texts as "exec:NAME". The model knows which program is
// meant for what; it starts none.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <jansson.h>

namespace ravd {

struct AttributeProblem;
struct Schema;
struct SchemaNode;

// As the schema numbers them.
enum class Action : unsigned char { get, set, add, remove, execute, redraw };
constexpr size_t action_count = 6;
const char *action_name(Action action);  // "get", "set", "add", "delete", "execute", "redraw"

// Of one node: the names of the programs, by action; empty for none.
struct Handlers {
    std::array<std::string, action_count> programs;

    const std::string &of(Action action) const { return programs[static_cast<size_t>(action)]; }
};

// A plain file name: letters, digits, "_", "-", "+" and ".", the first one no ".", at most 64 bytes.
bool is_program_name(std::string_view name);

// Fills node.handlers from its attributes; texts that do not begin with "exec:" are for clients alone. The problem:
// what is no name of a program, two programs for one action, or an action that a node of this kind does not have.
std::optional<AttributeProblem> decode_handlers(SchemaNode &node, const json_t *attr);

// For a tree whose nodes are all decoded and laid out: tells each parameter whose handler tells its value
// (SchemaNode::teller), and the schema what handlers there are.
void tie_handlers(Schema &schema);

// The node's own or the nearest one above it that has a program for the action; null for none.
const SchemaNode *handling_node(const SchemaNode &node, Action action);

// The names of all programs that the schema names, each once.
std::vector<std::string> all_handlers(const Schema &schema);

}  // namespace ravd
