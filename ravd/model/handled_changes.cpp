// Changes by the handlers that take part in them.
#include "ravd/model/handled_changes.h"

#include <algorithm>

#include "ravd/model/resolve.h"

namespace ravd {

namespace {

bool has_program(const SchemaNode &node, Action action) {
    return node.handlers && !node.handlers->of(action).empty();
}

}  // namespace

void HandledChanges::set(const Place &place, Value before, Value after) {
    const SchemaNode *node = handling_node(*place.node, Action::set);
    if (!node) return;
    CutName name = cut_name(*place.node, *place.record, *node);
    auto change = std::ranges::find_if(
        list, [&](const HandledChange &each) { return each.action == Action::set && each.path == name.path; });
    if (change == list.end()) change = list.insert(list.end(), {Action::set, node, std::move(name.path), 0, {}});
    change->values.push_back({std::move(name.rest), place.name, std::move(before), std::move(after)});
}

void HandledChanges::add(const SchemaNode &object, const std::string &path, uint32_t instance) {
    if (has_program(object, Action::add)) list.push_back({Action::add, &object, path, instance, {}});
}

void HandledChanges::remove(const SchemaNode &instance, const std::string &path) {
    for (const SchemaNode *node : {&instance, static_cast<const SchemaNode *>(instance.parent)})
        if (has_program(*node, Action::remove)) return list.push_back({Action::remove, node, path, 0, {}});
}

}  // namespace ravd
