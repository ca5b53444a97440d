// Lists in columns.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <stddef.h>

namespace rv {

// Texts, sorted down the columns as given, that fit a width; rows end with a line feed, and each is enclosed by color
// and the end of colours where color is not empty. Of more than most_rows rows only these are given, and a last line
// says how many texts were left out; 0: all are given. Prints nothing.
std::string columns(const std::vector<std::string_view> &texts, int width, std::string_view color, size_t most_rows);

// Rows and columns of the terminal on standard output; 24 and 80 where it does not tell.
struct TerminalSize {
    int rows;
    int columns;
    bool operator==(const TerminalSize &) const = default;
};
TerminalSize terminal_size();

}  // namespace rv
