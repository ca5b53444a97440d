// Children of a node, filtered and dressed as the caller wants them.
#include "ravc/commands/list_children.h"

#include <string>

#include <string.h>

#include "ravc/cache/level_names.h"
#include "ravc/cache/node_cache.h"
#include "rv/tr.h"

namespace {

bool is_read_only(const json_t *node) {
    const char *access = json_string_value(json_object_get(rv_tr_dm_node_attr_get(node), "access"));
    return access && strcmp(access, "readOnly") == 0;
}

bool is_wanted(const char *name, const json_t *node, int options) {
    if (*name == '#') return false;
    if (!node_cache_is_parameter(name, node)) return true;
    return !(options & LIST_OBJECTS) && !((options & LIST_WRITABLE) && is_read_only(node));
}

json_t *entry(const char *name, const json_t *node, const char *prefix, int options) {
    std::string text;
    if (options & LIST_ABSOLUTE) text += ':';
    if (prefix && !(options & LIST_FILTER)) text.append(prefix).append(".");
    text += name;
    if ((options & LIST_DOTS) && !node_cache_is_parameter(name, node) && !text.ends_with('.')) text += '.';
    return json_string(text.c_str());
}

}  // namespace

json_t *list_children(cdpath *place, const char *prefix, int options, size_t enough) {
    if (!json_is_true(json_object_get(place->node, "#fetched")) || node_cache_failed(place)) node_cache_fetch(place);
    json_t *list = json_array();
    const auto take = [&](const char *name, const json_t *node) {
        if (is_wanted(name, node, options)) json_array_append_new(list, entry(name, node, prefix, options));
        return json_array_size(list) < enough;
    };
    if (options & LIST_FILTER) {
        for (const LevelName &child : level_names(place->node, prefix ? prefix : ""))
            if (!take(child.name, child.node)) break;
    } else {
        const char *name;
        json_t *node;
        json_object_foreach(place->node, name, node) if (!take(name, node)) break;
    }
    return list;
}
