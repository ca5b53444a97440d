// Counted texts read as numbers, and FNV-1a.
#include "rv/string.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

// Takes the prefix that names the base off the text. "0" itself stays a decimal digit.
int detect_base(std::string_view &text) {
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        text.remove_prefix(2);
        return 16;
    }
    return text.size() > 1 && text[0] == '0' ? 8 : 10;
}

// Reads an optional sign and the digits into *magnitude. Returns -1 for a minus, 1 for none, 0 when it is no number.
int parse_magnitude(std::string_view text, int base, uint64_t *magnitude) {
    int sign = 1;
    if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
        sign = text[0] == '-' ? -1 : 1;
        text.remove_prefix(1);
    }
    if (base == 0) base = detect_base(text);
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, *magnitude, base);
    return error == std::errc() && stop == end ? sign : 0;
}

}  // namespace

int rv_string_strntol(const char *text, size_t len, int base, int32_t *value) {
    uint64_t magnitude = 0;
    const int sign = parse_magnitude({text, len}, base, &magnitude);
    const uint64_t limit = sign < 0 ? uint64_t{1} << 31 : INT32_MAX;
    if (sign == 0 || magnitude > limit) return -1;
    *value = static_cast<int32_t>(sign * static_cast<int64_t>(magnitude));
    return 0;
}

int rv_string_strntoul(const char *text, size_t len, int base, uint32_t *value) {
    uint64_t magnitude = 0;
    if (parse_magnitude({text, len}, base, &magnitude) != 1 || magnitude > UINT32_MAX) return -1;
    *value = static_cast<uint32_t>(magnitude);
    return 0;
}

int rv_string_strntod(const char *text, size_t len, double *value) {
    // strtod() alone would also take blanks, hexadecimal numbers, "inf" and "nan"
    const std::string number(text, len);
    if (number.empty() || number.find_first_not_of("+-.0123456789eE") != number.npos) return -1;
    char *end = nullptr;
    const double parsed = strtod(number.c_str(), &end);
    if (end != number.c_str() + len || !std::isfinite(parsed)) return -1;
    *value = parsed;
    return 0;
}

uint32_t rv_string_get_hash(const char *text) {
    if (!text) return 0;
    uint32_t hash = 2166136261U;
    for (; *text; text++) hash = (hash ^ static_cast<unsigned char>(*text)) * 16777619U;
    return hash ? hash : 1;  // 0 stands for "no text"
}
