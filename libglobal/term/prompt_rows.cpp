// A prompt that may be longer than a row: readline is told to edit behind its last row, and prints the ones before as
// they are. Its own wrapping of prompts with colours is off by some cells at times.
#include "libglobal/term/prompt_rows.h"

#include "libglobal/term/text.h"

rv::PromptRows rv::split_prompt(std::string_view prompt, int columns) {
    size_t cut = 0;
    Place place;
    for (size_t i = 0; i < prompt.size();) {
        const Character c = first_character(prompt.substr(i));
        const int row = place.row;
        place = layout(prompt.substr(i, c.bytes), columns, place);
        if (place.row > row) cut = place.column > 0 ? i : i + c.bytes;
        i += c.bytes;
    }
    std::string_view head = prompt.substr(0, cut);
    if (!head.empty() && head.back() == '\n') head.remove_suffix(1);
    return {.head = std::string(head), .tail = std::string(prompt.substr(cut)), .head_rows = place.row};
}
