// Name lists into trees.
#include <string>
#include <string_view>

#include <string.h>

#include "rv/tr.h"

namespace {

constexpr int max_levels = 128;

// What is left of name below prefix, without a closing "."; npos marks a name outside of it.
bool below_prefix(std::string_view name, std::string_view prefix, std::string_view *rest) {
    if (prefix == ".") prefix = "";
    if (name == ".") name = "";
    if (!prefix.empty() && prefix.back() == '.') prefix.remove_suffix(1);
    if (!name.empty() && name.back() == '.') name.remove_suffix(1);
    if (!name.starts_with(prefix)) return false;
    name.remove_prefix(prefix.size());
    if (!prefix.empty() && !name.empty()) {
        if (name.front() != '.') return false;
        name.remove_prefix(1);
        if (name.empty()) return false;
    }
    *rest = name;
    return true;
}

bool is_allowed(std::string_view element) {
    if (element.empty()) return false;
    return element[0] != '#' || element == "#template" || element == "#input" || element == "#output";
}

bool is_sound(std::string_view path) {
    int levels = 0;
    while (!path.empty()) {
        const size_t dot = path.find('.');
        if (!is_allowed(path.substr(0, dot)) || ++levels > max_levels) return false;
        if (dot == path.npos) return true;
        path.remove_prefix(dot + 1);
        if (path.empty()) return false;
    }
    return true;
}

// The object at path below root; what is missing on the way is made.
json_t *object_at(json_t *root, std::string_view path) {
    json_t *node = root;
    while (node && !path.empty()) {
        const size_t dot = path.find('.');
        const std::string key(path.substr(0, dot));
        json_t *child = json_object_get(node, key.c_str());
        if (!json_is_object(child)) {
            child = json_object();
            if (json_object_set_new(node, key.c_str(), child) != 0) return nullptr;
        }
        node = child;
        path.remove_prefix(dot == path.npos ? path.size() : dot + 1);
    }
    return node;
}

// Whether the element of a name list has a name that a tree can hold, and its path below prefix.
bool path_of(const json_t *element, const char *prefix, std::string_view *path) {
    const char *name = json_string_value(json_object_get(element, "Name"));
    return name && *name && below_prefix(name, prefix, path) && is_sound(*path);
}

}  // namespace

json_t *rv_tr_names_to_config(const json_t *list, const char *prefix) {
    json_t *config = json_object();
    size_t i;
    json_t *element;
    json_array_foreach(list, i, element) {
        std::string_view path;
        if (path_of(element, prefix, &path)) json_object_set(object_at(config, path), "#info", element);
    }
    return config;
}

json_t *rv_tr_namevalues_to_config(const json_t *list, const char *prefix) {
    json_t *config = json_object();
    size_t i;
    json_t *element;
    json_array_foreach(list, i, element) {
        json_t *value = json_object_get(element, "Value");
        std::string_view path;
        if (!value || !path_of(element, prefix ? prefix : ".", &path) || path.empty()) continue;
        const size_t dot = path.rfind('.');
        json_t *parent = object_at(config, dot == path.npos ? "" : path.substr(0, dot));
        const std::string key(path.substr(dot == path.npos ? 0 : dot + 1));
        if (!json_is_object(json_object_get(parent, key.c_str()))) json_object_set(parent, key.c_str(), value);
    }
    if (json_object_size(config) > 0) return config;
    json_decref(config);
    return nullptr;
}
