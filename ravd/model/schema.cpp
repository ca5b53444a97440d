// Finding one's way in the schema tree.
#include "ravd/model/schema.h"

#include <algorithm>

namespace ravd {

SchemaNode::SchemaNode() = default;
SchemaNode::~SchemaNode() = default;

bool SchemaNode::can_write(Role role) const {
    if (fixed || (writable & role_bit(role)) == 0) return false;
    return is_parameter() || multi || is_instance();
}

const SchemaNode *SchemaNode::find(std::string_view child) const {
    const auto found =
        std::lower_bound(by_name.begin(), by_name.end(), child,
                         [](const SchemaNode *node, std::string_view text) { return node->name < text; });
    return found != by_name.end() && (*found)->name == child ? *found : nullptr;
}

bool SchemaNode::is_within(const SchemaNode &node) const {
    for (const SchemaNode *at = this; at; at = at->parent)
        if (at == &node) return true;
    return false;
}

std::string SchemaNode::name_in_record() const {
    std::string relative = name;
    for (const SchemaNode *at = parent; at->parent && !at->is_instance(); at = at->parent)
        relative.insert(0, at->name + '.');
    return relative;
}

std::string SchemaNode::full_name() const {
    if (!parent) return "";
    std::string text = parent->full_name();
    if (!text.empty()) text += '.';
    return text += name;
}

SchemaNode &SchemaNode::add(std::string child_name) {
    SchemaNode &child = *children.emplace_back(std::make_unique<SchemaNode>());
    child.name = std::move(child_name);
    child.parent = this;
    return child;
}

void SchemaNode::sort_names() {
    by_name.clear();
    for (const auto &child : children) by_name.push_back(child.get());
    std::sort(by_name.begin(), by_name.end(),
              [](const SchemaNode *a, const SchemaNode *b) { return a->name < b->name; });
}

}  // namespace ravd
