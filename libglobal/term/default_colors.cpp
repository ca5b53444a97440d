// The editor's colours while no editor is linked in: they go nowhere.
#include "rv/rl.h"

__attribute__((weak)) void rv_rl_set_colors(rv_hsv, rv_hsv, rv_hsv) {}
