// The colour scheme: four colours that the user may change, in a fixed order.
#pragma once

#include "rv/colors.h"

enum ColorEntry { COLOR_ROOT_PROMPT, COLOR_PROMPT, COLOR_AUTOCOMPLETE, COLOR_HINT, COLOR_ENTRIES };

// The present table of COLOR_ENTRIES colours; borrowed.
const rv_hsv *color_table();
// The present colour of an entry.
rv_hsv color_of(ColorEntry entry);

// Takes over a table of COLOR_ENTRIES colours, which may be the present one, and gives the line editor its three: the
// prompt's by whether the user has system access.
void colors_apply(const rv_hsv *table);
