// Where a member stands in the text of a JSON file: the parser keeps no positions of values.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace ravd {

// The line, from 1, of the member that keys lead to from the outermost object: the line of its name. Where a key is
// missing, the line of the last one found. text is valid JSON.
size_t locate_line(std::string_view text, std::span<const std::string> keys);

}  // namespace ravd
