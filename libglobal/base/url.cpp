// Telling URLs from names of files.
#include "rv/url.h"

#include <string_view>

namespace {

// In ASCII, whatever the locale is.
bool is_letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool is_scheme(std::string_view text) {
    if (text.empty() || !is_letter(text[0])) return false;
    for (const char c : text)
        if (!is_letter(c) && !(c >= '0' && c <= '9') && c != '+' && c != '-' && c != '.') return false;
    return true;
}

}  // namespace

int rv_url_parse_mem(rv_url *url, const char *text, size_t length) {
    constexpr std::string_view separator = "://";
    const std::string_view whole(text, length);
    const size_t end = whole.find(separator);
    if (end == whole.npos || !is_scheme(whole.substr(0, end))) return 0;
    const size_t rest = end + separator.size();
    if (rest == length) return 0;
    *url = {.scheme = text, .scheme_length = end, .rest = text + rest, .rest_length = length - rest};
    return 1;
}
