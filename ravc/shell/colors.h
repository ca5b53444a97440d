// The colour scheme: four colours that the user may change, in a fixed order.
#pragma once

#include "rv/colors.h"

enum ColorEntry { COLOR_ROOT_PROMPT, COLOR_PROMPT, COLOR_AUTOCOMPLETE, COLOR_HINT, COLOR_ENTRIES };

// The present colour of an entry.
rv_hsv color_of(ColorEntry entry);
