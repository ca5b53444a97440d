// Finding branches of trees, and cutting the names of branches.
#include "rv/branch.h"

#include <string>
#include <string_view>

#include <string.h>

namespace {

size_t count_elements(std::string_view path) {
    size_t count = 0;
    for (size_t i = 0; i < path.size(); i++)
        if (path[i] != '.' && (i == 0 || path[i - 1] == '.')) count++;
    return count;
}

}  // namespace

json_t *rv_conf_find_branch(json_t *root, const char *path) {
    json_t *node = root;
    std::string_view rest = path ? path : "";
    while (node && !rest.empty()) {
        const size_t dot = rest.find('.');
        if (dot != 0) node = json_object_get(node, std::string(rest.substr(0, dot)).c_str());
        rest.remove_prefix(dot == rest.npos ? rest.size() : dot + 1);
    }
    return json_is_object(node) ? node : nullptr;
}

int rv_conf_strip_path_adv(char *path, size_t first, size_t last) {
    std::string_view rest = path ? path : "";
    if (count_elements(rest) < first + last) return -1;
    const bool is_closed = rest.ends_with('.');
    if (is_closed) rest.remove_suffix(1);
    for (; first > 0; first--) rest.remove_prefix(rest.find('.') == rest.npos ? rest.size() : rest.find('.') + 1);
    for (; last > 0; last--) rest = rest.substr(0, rest.rfind('.') == rest.npos ? 0 : rest.rfind('.'));
    const size_t length = rest.size();
    memmove(path, rest.data(), length);
    const bool closes = is_closed && length > 0;
    if (closes) path[length] = '.';
    path[length + closes] = '\0';
    return 0;
}
