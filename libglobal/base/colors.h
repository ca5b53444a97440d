// The library's own side of rv/colors.h.
#pragma once

#include <string>

#include "rv/colors.h"

namespace rv {

// What rv_colors_set_hsv2(c) prints: empty while colours are off.
std::string color_escape(rv_hsv c);
bool colors_are_on();

inline constexpr char color_end[] = "\033[0m";

}  // namespace rv
