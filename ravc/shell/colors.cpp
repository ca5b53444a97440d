// The colour table with its defaults.
#include "ravc/shell/colors.h"

namespace {

rv_hsv colors[COLOR_ENTRIES] = {
    {0, 100, 100},   // root-prompt
    {220, 78, 100},  // prompt
    {50, 100, 55},   // autocomplete: also the colour of values
    {120, 100, 55},  // hint
};

}  // namespace

rv_hsv color_of(ColorEntry entry) {
    return colors[entry];
}
