// Where references lead.
#include "ravd/model/references.h"

#include "ravd/json_text.h"
#include "ravd/model/check.h"

namespace ravd {

namespace {

// Calls visit as each_item() does: with the items of a list, with any other text itself unless it is empty.
template <typename Visit>
void each_reference(const SchemaNode &parameter, std::string_view text, Visit visit) {
    if (parameter.type == RV_TR_LIST) {
        each_item(text, visit);
    } else if (!text.empty()) {
        visit(text);
    }
}

bool exists(Reading &reading, std::string_view name, Path &path) {
    if (reading.parse(name, path) != 0 || path.every_instance) return false;
    if (path.node->is_parameter() && path.closed) return false;
    return !present_places(path, reading.parts, reading.sync).empty();
}

// About one reference.
std::string target_problem(Reading &reading, const SchemaNode &parameter, std::string_view name) {
    Path path;
    if (!exists(reading, name, path)) return "names nothing that exists";
    const SchemaNode *object = parameter.limits ? parameter.limits->referenced : nullptr;
    if (object && (!path.node->is_instance() || path.node->parent != object))
        return "is no instance of " + parameter.limits->foreign_key;
    if (parameter.type == RV_TR_INSTANCE_REF && !path.node->is_instance()) return "is no instance";
    return "";
}

}  // namespace

std::string reference_problem(Reading &reading, const SchemaNode &parameter, std::string_view text) {
    const bool typed = parameter.type == RV_TR_PATH_REF || parameter.type == RV_TR_INSTANCE_REF;
    if (!typed && !(parameter.limits && parameter.limits->referenced)) return "";
    std::string found;
    each_reference(parameter, text, [&](std::string_view name) {
        found = target_problem(reading, parameter, name);
        if (found.empty()) return true;
        if (parameter.type == RV_TR_LIST) {
            std::string item = "has the item ";
            append_json_string(item, name);
            found = item + ", which " + found;
        }
        return false;
    });
    return found;
}

bool leads_into(std::string_view path, const InstancePaths &instances) {
    std::string closed(path);
    if (!closed.ends_with('.')) closed += '.';
    for (size_t dot = closed.find('.'); dot != closed.npos; dot = closed.find('.', dot + 1))
        if (instances.contains(std::string_view(closed).substr(0, dot + 1))) return true;
    return false;
}

bool refers_to(const SchemaNode &parameter, std::string_view text, const InstancePaths &instances) {
    bool found = false;
    each_reference(parameter, text, [&](std::string_view path) {
        found = leads_into(path, instances);
        return !found;
    });
    return found;
}

std::string without_references(const SchemaNode &parameter, std::string_view text, const InstancePaths &instances) {
    std::string left;
    each_reference(parameter, text, [&](std::string_view path) {
        if (leads_into(path, instances)) return true;
        if (!left.empty()) left += ',';
        left += path;
        return true;
    });
    return left;
}

}  // namespace ravd
