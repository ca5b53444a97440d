// A prompt that may be longer than a row. Nothing here prints.
#pragma once

#include <string>
#include <string_view>

namespace rv {

struct PromptRows {
    std::string head;   // the rows before the last one, without a last line feed
    std::string tail;   // the last row, which may be empty
    int head_rows = 0;  // rows that head takes; 0: there is none
};
// Cuts prompt where its last row begins, in a terminal of so many columns.
PromptRows split_prompt(std::string_view prompt, int columns);

}  // namespace rv
