// Children of a node, filtered and dressed as the caller wants them.
#include "ravc/commands/list_children.h"

#include <string>

#include <string.h>
#include <strings.h>

#include "ravc/cache/node_cache.h"
#include "rv/tr.h"

namespace {

bool is_read_only(const json_t *node) {
    const char *access = json_string_value(json_object_get(rv_tr_dm_node_attr_get(node), "access"));
    return access && strcmp(access, "readOnly") == 0;
}

bool is_wanted(const char *name, const json_t *node, const char *prefix, int options) {
    if (*name == '#') return false;
    if ((options & LIST_FILTER) && prefix && strncasecmp(name, prefix, strlen(prefix)) != 0) return false;
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

json_t *list_children(cdpath *place, const char *prefix, int options) {
    if (!json_is_true(json_object_get(place->node, "#fetched")) || node_cache_failed(place)) node_cache_fetch(place);
    json_t *list = json_array();
    const char *name;
    json_t *node;
    json_object_foreach(place->node, name, node) if (is_wanted(name, node, prefix, options))
        json_array_append_new(list, entry(name, node, prefix, options));
    return list;
}
