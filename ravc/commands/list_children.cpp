// Children of a node, filtered and dressed as the caller wants them.
#include "ravc/commands/list_children.h"

#include <string>
#include <string_view>
#include <vector>

#include <string.h>
#include <strings.h>

#include "ravc/cache/node_cache.h"
#include "rv/tr.h"

namespace {

struct Child {
    const char *name;  // borrowed from the cache, as its node is
    json_t *node;
};

// The children of one level that begin with a prefix. Whoever types on narrows what the last key has found: only the
// first key of a name looks at the whole level.
struct Matches {
    const json_t *level = nullptr;
    size_t changes = 0;  // of the cache when they were found
    std::string prefix;
    std::vector<Child> children;

    bool hold_for(const json_t *node, std::string_view longer) const {
        return node == level && changes == node_cache_changes && longer.size() >= prefix.size() &&
               strncasecmp(longer.data(), prefix.data(), prefix.size()) == 0;
    }
};

void keep_matching(std::vector<Child> *children, const std::string &prefix) {
    std::erase_if(*children, [&](const Child &child) {
        return strncasecmp(child.name, prefix.c_str(), prefix.size()) != 0;
    });
}

std::vector<Child> children_beginning_with(json_t *level, const std::string &prefix) {
    std::vector<Child> children;
    const char *name;
    json_t *node;
    json_object_foreach(level, name, node) if (strncasecmp(name, prefix.c_str(), prefix.size()) == 0)
        children.push_back({name, node});
    return children;
}

const std::vector<Child> &matches(json_t *level, const char *prefix) {
    static auto *last = new Matches;
    if (last->hold_for(level, prefix)) {
        keep_matching(&last->children, prefix);
    } else {
        last->children = children_beginning_with(level, prefix);
    }
    last->level = level;
    last->changes = node_cache_changes;
    last->prefix = prefix;
    return last->children;
}

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
    if ((options & LIST_FILTER) && prefix && *prefix) {
        for (const Child &child : matches(place->node, prefix))
            if (!take(child.name, child.node)) break;
    } else {
        const char *name;
        json_t *node;
        json_object_foreach(place->node, name, node) if (!take(name, node)) break;
    }
    return list;
}
