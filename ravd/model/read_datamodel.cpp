// GetDatamodel: the schema as a tree, in the format of schema files.
#include <algorithm>
#include <climits>
#include <unordered_map>

#include "ravd/json_text.h"
#include "ravd/model/read.h"
#include "ravd/model/reading.h"

namespace ravd {

namespace {

class TreeWriter {
 public:
    TreeWriter(const Reading &reading, std::string &out) : reading_(reading), out_(out) {}

    // Has node written with so many levels below it, and the way to it.
    void want(const SchemaNode &node, int levels) {
        for (const SchemaNode *at = &node; at; at = at->parent) wanted_.emplace(at, 0);
        wanted_[&node] = std::max(wanted_[&node], levels);
    }

    // Writes node with what is wanted below it, and so many levels in any case.
    void write(const SchemaNode &node, int levels) {
        const auto wish = wanted_.find(&node);
        if (wish != wanted_.end()) levels = std::max(levels, wish->second);
        out_ += "{\"#attr\":";
        out_ += node.attributes;
        for (const auto &child : node.children) {
            const bool version = child->by_name_only && !child->table;  // stands beside the tree
            if (version || !reading_.can_see(*child) || (levels == 0 && !wanted_.contains(child.get()))) continue;
            append_key(out_, child->name);
            write(*child, levels == INT_MAX ? INT_MAX : std::max(levels - 1, 0));
        }
        out_ += '}';
    }

 private:
    const Reading &reading_;
    std::string &out_;
    std::unordered_map<const SchemaNode *, int> wanted_;  // levels below each; 0 for those on the way
};

}  // namespace

Fault read_datamodel(Model &model, const Viewer &viewer, const json_t *paths, int depth, std::string &result) {
    const Reading reading(model, viewer);
    TreeWriter writer(reading, result);
    Fault fault;
    for (size_t i = 0; i < json_array_size(paths); i++) {
        const char *name = json_string_value(json_array_get(paths, i));
        Path path;
        if (const int code = reading.parse(name, path)) {
            add_failure(fault, name, code);
        } else {
            writer.want(*path.node, depth < 0 ? INT_MAX : depth);
        }
    }
    if (fault) return fault;
    const SchemaNode &root = reading.parts.schema->root;
    result += "{\"Datamodel\":";
    writer.write(root, 0);
    append_key(result, "DataModelVersion");
    append_value(result, root.children.back()->default_value);
    result += '}';
    return {};
}

}  // namespace ravd
