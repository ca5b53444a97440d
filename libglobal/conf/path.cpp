// Paths of the configuration as text.
#include <string_view>

#include <string.h>

#include "rv/conf.h"

namespace {

bool is_steps_up(std::string_view element) {
    return element.find_first_not_of('<') == element.npos;
}

void drop_last_element(char *path) {
    char *dot = strrchr(path, '.');
    *(dot ? dot : path) = '\0';
}

bool append_element(char *path, std::string_view element) {
    size_t length = strlen(path);
    if (length + (length > 0) + element.size() >= RV_CONF_PATH_SIZE) return false;
    if (length > 0) path[length++] = '.';
    memcpy(path + length, element.data(), element.size());
    path[length + element.size()] = '\0';
    return true;
}

}  // namespace

int rv_conf_path_canonize(int, const char *path, char *out) {
    *out = '\0';
    for (std::string_view rest = path; !rest.empty();) {
        const std::string_view element = rest.substr(0, rest.find('.'));
        rest.remove_prefix(element.size() < rest.size() ? element.size() + 1 : rest.size());
        if (is_steps_up(element)) {
            for (size_t i = 0; i < element.size(); i++) drop_last_element(out);
        } else if (!append_element(out, element)) {
            *out = '\0';
            return -1;
        }
    }
    return 0;
}
