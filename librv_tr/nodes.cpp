// What the schema attributes of a cache node say, and finding a node by its full name.
#include <string>
#include <string_view>

#include <ctype.h>
#include <string.h>

#include "rv/tr.h"

namespace {

json_t *attribute(const json_t *node, const char *key) {
    return json_object_get(rv_tr_dm_node_attr_get(node), key);
}

// The other names with a "#" are what a cache node says about itself, no nodes.
bool names_node(std::string_view name) {
    return !name.starts_with('#') || name == "#template" || name == "#input" || name == "#output";
}

json_t *child(const json_t *node, std::string_view name) {
    if (!names_node(name)) return nullptr;
    const std::string key(name);
    json_t *found = json_object_get(node, key.c_str());
    if (!found && rv_tr_is_instance_number(key.c_str())) found = json_object_get(node, "#template");
    return found;
}

}  // namespace

json_t *rv_tr_dm_node_attr_get(const json_t *node) {
    json_t *attributes = json_object_get(node, "#attr");
    return json_is_object(attributes) ? attributes : nullptr;
}

json_t *rv_tr_dm_node_default_get(const json_t *node) {
    return attribute(node, "default");
}

int rv_tr_dm_node_is_multi(const json_t *node) {
    return json_is_true(attribute(node, "multi"));
}

int rv_tr_dm_node_is_ordered(const json_t *node) {
    return json_is_true(attribute(node, "ordered"));
}

int rv_tr_path_is_partial(const char *path) {
    const size_t length = path ? strlen(path) : 0;
    return length > 0 && path[length - 1] == '.';
}

int rv_tr_path_is_full(const char *path) {
    return path && *path && !rv_tr_path_is_partial(path);
}

int rv_tr_dm_node_type_get(const json_t *node) {
    return rv_tr_type_from_name(json_string_value(attribute(node, "type")));
}

int rv_tr_dm_node_get_base(const json_t *node) {
    const json_int_t base = json_integer_value(attribute(node, "base"));
    return base == 2 || base == 8 || base == 16 ? static_cast<int>(base) : 10;
}

json_t *rv_tr_node_find(json_t *root, const char *full_name, const char *) {
    json_t *node = root;
    std::string_view rest = full_name ? full_name : "";
    while (node && !rest.empty()) {
        const size_t dot = rest.find('.');
        if (dot != 0) node = child(node, rest.substr(0, dot));
        rest.remove_prefix(dot == rest.npos ? rest.size() : dot + 1);
    }
    return node;
}

int rv_tr_is_instance_number(const char *text) {
    const size_t length = text ? strlen(text) : 0;
    if (length < 1 || length > 20) return 0;
    for (; *text; text++)
        if (!isdigit(static_cast<unsigned char>(*text))) return 0;
    return 1;
}
