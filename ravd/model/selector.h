// The selector language: "Device.IP.Interface.[Enable == true].{Name, Status}". Text in, parts out; nothing here knows
// the model.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "ravd/model/value.h"

namespace ravd {

constexpr size_t selector_length = 4096;  // bytes of the longest one

enum class Comparison : uint8_t { equal, different, less, greater, at_most, at_least, contains };

struct Condition {
    std::string_view path;  // of a parameter, relative to the instance
    Comparison comparison;
    Json value;        // a JSON scalar; a text for a bare word
    std::string text;  // as it was written, a text without its quotes
};

struct SelectorElement {
    std::string_view text;              // a name or a number; "*"; empty for conditions
    std::vector<Condition> conditions;  // all must be fulfilled

    bool is_choice() const { return text.empty() || text == "*"; }
};

// Views are into the text that it was parsed from. No elements: the root.
struct Selector {
    std::vector<SelectorElement> elements;
    std::vector<std::string_view> kept;  // the names in braces
    bool keeps_some = false;             // there were braces
};

// Parses text. Blanks may stand between all parts of it. Returns an empty text, or what is wrong and where: "column 12:
// a value is missing" (characters, from 1).
std::string parse_selector(std::string_view text, Selector &selector);

}  // namespace ravd
