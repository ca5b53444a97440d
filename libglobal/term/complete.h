// The arithmetic of completion: which part of the line candidates replace, and by what. Knows no terminal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <stddef.h>

namespace rv {

struct Completion {
    bool replaces = false;  // else the line stays as it is
    size_t start = 0;       // of what is replaced, which ends at the cursor
    std::string text;       // what all candidates begin with, or the single one
    bool is_whole = false;  // the single candidate is what stands before the cursor already
};

// What candidates, each for the word before cursor from its last separator on, make of line. A candidate may also
// reach back to an earlier separator of the word, as file names with dots do: it replaces as much as it begins with.
// delimiters: the characters that end a word, when candidates stand for whole words and nothing in a word separates.
Completion complete(std::string_view line, size_t cursor, const std::vector<std::string_view> &candidates,
                    bool ignore_case, const char *delimiters = nullptr);

}  // namespace rv
