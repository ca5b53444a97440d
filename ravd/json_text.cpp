// Compact JSON as text: escaping, numbers, and the cleaning of texts from outside.
#include "ravd/json_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include <malloc.h>

namespace ravd {

namespace {

bool needs_escape(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\';
}

void append_escape(std::string &out, char c) {
    constexpr char hex[] = "0123456789abcdef";
    switch (c) {
        case '"':
            out += "\\\"";
            return;
        case '\\':
            out += "\\\\";
            return;
        case '\b':
            out += "\\b";
            return;
        case '\f':
            out += "\\f";
            return;
        case '\n':
            out += "\\n";
            return;
        case '\r':
            out += "\\r";
            return;
        case '\t':
            out += "\\t";
            return;
        default:
            break;
    }
    const auto byte = static_cast<unsigned char>(c);
    out += "\\u00";
    out += hex[byte >> 4];
    out += hex[byte & 15];
}

int append_dumped(const char *text, size_t size, void *out) {
    static_cast<std::string *>(out)->append(text, size);
    return 0;
}

// The length of the UTF-8 character that text begins with, and its code point; 0 when it begins with none.
size_t decode(std::string_view text, uint32_t &code) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(0);
    const size_t length = first < 0x80   ? 1
                          : first < 0xc2 ? 0
                          : first < 0xe0 ? 2
                          : first < 0xf0 ? 3
                          : first < 0xf5 ? 4
                                         : 0;
    if (length == 0 || length > text.size()) return 0;
    constexpr std::array<unsigned char, 5> payload = {0, 0x7f, 0x1f, 0x0f, 0x07};
    constexpr std::array<uint32_t, 5> smallest = {0, 0, 0x80, 0x800, 0x10000};
    code = first & payload[length];
    for (size_t i = 1; i < length; i++) {
        if ((byte(i) & 0xc0) != 0x80) return 0;
        code = code << 6 | (byte(i) & 0x3fU);
    }
    const bool surrogate = code >= 0xd800 && code <= 0xdfff;
    return code < smallest[length] || code > 0x10ffff || surrogate ? 0 : length;
}

bool is_control(uint32_t code) {
    return code < 0x20 || (code >= 0x7f && code < 0xa0);
}

}  // namespace

void append_json_string(std::string &out, std::string_view text) {
    out += '"';
    size_t from = 0;
    for (size_t i = 0; i < text.size(); i++) {
        if (!needs_escape(text[i])) continue;
        out.append(text, from, i - from);
        append_escape(out, text[i]);
        from = i + 1;
    }
    out.append(text, from);
    out += '"';
}

void append_json_integer(std::string &out, int64_t value) {
    std::array<char, 24> digits;
    out.append(digits.data(), std::to_chars(digits.begin(), digits.end(), value).ptr);
}

void append_json_real(std::string &out, double value) {
    std::array<char, 40> digits;
    if (!std::isfinite(value)) value = 0.0;
    const char *end = std::to_chars(digits.begin(), digits.end(), value).ptr;
    const std::string_view text(digits.data(), static_cast<size_t>(end - digits.data()));
    out += text;
    if (text.find_first_of(".e") == text.npos) out += ".0";
}

void append_json(std::string &out, const json_t *value) {
    json_dump_callback(value, append_dumped, &out, JSON_COMPACT | JSON_ENCODE_ANY);
}

std::string clean_utf8(std::string_view text) {
    std::string clean;
    clean.reserve(text.size());
    while (!text.empty()) {
        uint32_t code = 0;
        const size_t length = decode(text, code);
        if (length != 0 && !is_control(code)) clean.append(text, 0, length);
        text.remove_prefix(length != 0 ? length : 1);
    }
    return clean;
}

void wipe_freed_json() {
    json_set_alloc_funcs(malloc, [](void *memory) {
        if (memory != nullptr) explicit_bzero(memory, malloc_usable_size(memory));
        free(memory);
    });
}

}  // namespace ravd
