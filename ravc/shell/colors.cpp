// The colour table with its defaults.
#include "ravc/shell/colors.h"

#include <string.h>

#include "ravc/main/identity.h"
#include "rv/rl.h"

namespace {

rv_hsv colors[COLOR_ENTRIES] = {
    {0, 100, 100},   // root-prompt
    {220, 78, 100},  // prompt
    {50, 100, 55},   // autocomplete: also the colour of values
    {120, 100, 55},  // hint
};

}  // namespace

const rv_hsv *color_table() {
    return colors;
}

rv_hsv color_of(ColorEntry entry) {
    return colors[entry];
}

void colors_apply(const rv_hsv *table) {
    if (table != colors) memcpy(colors, table, sizeof colors);
    const ColorEntry prompt = identity_has_system_access() ? COLOR_ROOT_PROMPT : COLOR_PROMPT;
    rv_rl_set_colors(colors[prompt], colors[COLOR_HINT], colors[COLOR_AUTOCOMPLETE]);
}
