// Colours switched for as long as the object lives, then on again, as every program finds them.
#pragma once

#include "rv/colors.h"

class ColorScope {
 public:
    explicit ColorScope(int on) { rv_colors_toggle(on); }
    ~ColorScope() { rv_colors_toggle(1); }
    ColorScope(const ColorScope &) = delete;
    ColorScope &operator=(const ColorScope &) = delete;
};
