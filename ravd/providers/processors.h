// Processors: the parts that read nothing.
#pragma once

#include <string_view>
#include <vector>

namespace ravd {

// The numbers in a list of the kernel's, "0-3,8": 0, 1, 2, 3, 8. A list of another form ends at the first odd piece;
// numbers from 4096 up are left out.
std::vector<int> parse_cpu_list(std::string_view text);

// The data model's word for the machine name that uname gives.
const char *architecture_name(std::string_view machine);

}  // namespace ravd
