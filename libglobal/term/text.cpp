// UTF-8 text on a terminal. Characters are decoded and measured by the C library, whose locale is set when the first
// one beyond ASCII is met: a program that never meets one does not pay for it.
#include "libglobal/term/text.h"

#include <locale.h>
#include <string.h>
#include <wchar.h>

namespace {

constexpr int tab_width = 8;

bool is_control(wchar_t code) {
    return code < 0x20 || (code >= 0x7f && code < 0xa0);
}

bool is_ascii(char byte) {
    return (byte & 0x80) == 0;
}

void need_locale() {
    static const char *const set = setlocale(LC_CTYPE, rv::text_locale);
    static_cast<void>(set);
}

void advance(rv::Place *place, int columns) {
    if (++place->column < columns) return;
    place->row++;
    place->column = 0;
}

void advance_over(rv::Place *place, const rv::Character &c, int columns) {
    if (c.code == L'\n') {
        *place = {.row = place->row + 1, .column = 0};
    } else if (c.code == L'\t') {
        do advance(place, columns);
        while (place->column % tab_width != 0);
    } else {
        const bool is_split = !is_control(c.code) && c.width > 1 && place->column + c.width > columns;
        if (is_split) *place = {.row = place->row + 1, .column = 0};
        for (int i = 0; i < c.width; i++) advance(place, columns);
    }
}

template <typename Use>
void each_character(std::string_view text, Use use) {
    while (!text.empty()) {
        const rv::Character c = rv::first_character(text);
        use(c, text.substr(0, c.bytes));
        text.remove_prefix(c.bytes);
    }
}

}  // namespace

rv::Character rv::first_character(std::string_view text) {
    const wchar_t byte = static_cast<unsigned char>(text[0]);
    if (is_ascii(text[0])) return {.bytes = 1, .code = byte, .width = is_control(byte) ? 2 : 1};
    need_locale();
    mbstate_t state = {};
    wchar_t code = 0;
    const size_t bytes = mbrtowc(&code, text.data(), text.size(), &state);
    if (bytes == 0 || bytes > text.size()) return {.bytes = 1, .code = byte, .width = 1};
    const int width = wcwidth(code);
    return {.bytes = bytes, .code = code, .width = width >= 0 ? width : is_control(code) ? 2 : 0};
}

int rv::text_width(std::string_view text) {
    int width = 0;
    each_character(text, [&](const Character &c, std::string_view) { width += c.width; });
    return width;
}

bool rv::is_narrow(std::string_view text) {
    bool narrow = true;
    each_character(text, [&](const Character &c, std::string_view) { narrow &= c.width == 1; });
    return narrow;
}

bool rv::has_control(std::string_view text) {
    bool found = false;
    each_character(text, [&](const Character &c, std::string_view) { found |= is_control(c.code); });
    return found;
}

std::string rv::printable(std::string_view text, bool keep_line_feeds) {
    std::string result;
    result.reserve(text.size());
    each_character(text, [&](const Character &c, std::string_view bytes) {
        const bool is_kept = !is_control(c.code) || (keep_line_feeds && c.code == L'\n');
        result += is_kept ? bytes : std::string_view("?");
    });
    return result;
}

std::string_view rv::cut_to_width(std::string_view text, int columns) {
    size_t bytes = 0;
    while (bytes < text.size()) {
        const Character c = first_character(text.substr(bytes));
        columns -= c.width;
        if (columns < 0) break;
        bytes += c.bytes;
    }
    return text.substr(0, bytes);
}

rv::Place rv::layout(std::string_view text, int columns, Place from) {
    each_character(text, [&](const Character &c, std::string_view) { advance_over(&from, c, columns); });
    return from;
}
