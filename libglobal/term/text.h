// UTF-8 text on a terminal: characters, their widths, and where they come to stand. Nothing here prints.
#pragma once

#include <string>
#include <string_view>

#include <stddef.h>

namespace rv {

struct Character {
    size_t bytes;  // at least 1
    wchar_t code;  // a byte that begins no character stands for itself
    int width;     // columns: 0 for one that combines, 2 for a wide one or a control character (drawn as ^X)
};
// The first character of text, which is not empty.
Character first_character(std::string_view text);

int text_width(std::string_view text);
// Whether each character of text takes one column.
bool is_narrow(std::string_view text);
bool has_control(std::string_view text);
// text with "?" for each control character, so that it can't drive the terminal; line feeds may be kept.
std::string printable(std::string_view text, bool keep_line_feeds = false);

// As much of text's beginning as takes at most so many columns.
std::string_view cut_to_width(std::string_view text, int columns);

struct Place {
    int row = 0;
    int column = 0;
};
// Where the cursor stands behind text that is written from a place on, in a terminal of so many columns: behind a full
// row, in the next one.
Place layout(std::string_view text, int columns, Place from = {});

// The locale that the functions above work in: UTF-8, whatever the environment says, since all our texts are.
inline constexpr char text_locale[] = "C.UTF-8";

}  // namespace rv
