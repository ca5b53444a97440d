// Children of a node, filtered and dressed as the caller wants them.
#include "ravc/commands/list_children.h"

#include <string>
#include <vector>

#include <string.h>
#include <strings.h>

#include "ravc/cache/node_cache.h"
#include "rv/tr.h"

namespace {

bool begins_with(const char *name, const std::string &prefix) {
    return strncasecmp(name, prefix.c_str(), prefix.size()) == 0;
}

// The children of one level that begin with a prefix, found as they are asked for. Whoever types on narrows what the
// last keys have found and goes on from there: all the keys of a name look at the level once.
class Matches {
 public:
    struct Child {
        const char *name;  // borrowed from the cache, as its node is
        json_t *node;
    };

    void look_for(json_t *level, const char *prefix) {
        const bool is_narrower = level == level_ && changes_ == node_cache_changes && begins_with(prefix, prefix_);
        prefix_ = prefix;
        level_ = level;
        changes_ = node_cache_changes;
        if (is_narrower) {
            std::erase_if(found_, [this](const Child &child) { return !begins_with(child.name, prefix_); });
        } else {
            found_.clear();
            next_ = json_object_iter(level);
        }
    }

    // Null behind the last one.
    const Child *at(size_t i) {
        for (; i >= found_.size() && next_; next_ = json_object_iter_next(level_, next_)) {
            const char *name = json_object_iter_key(next_);
            if (begins_with(name, prefix_)) found_.push_back({name, json_object_iter_value(next_)});
        }
        return i < found_.size() ? &found_[i] : nullptr;
    }

 private:
    json_t *level_ = nullptr;
    size_t changes_ = 0;  // of the cache when the search began
    std::string prefix_;
    std::vector<Child> found_;
    void *next_ = nullptr;  // the first child that has not been looked at
};

Matches &matches(json_t *level, const char *prefix) {
    static auto *last = new Matches;
    last->look_for(level, prefix);
    return *last;
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
        Matches &found = matches(place->node, prefix);
        for (size_t i = 0; const Matches::Child *child = found.at(i); i++)
            if (!take(child->name, child->node)) break;
    } else {
        const char *name;
        json_t *node;
        json_object_foreach(place->node, name, node) if (!take(name, node)) break;
    }
    return list;
}
