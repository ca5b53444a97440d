// Whether Lua mode's output is coloured, and the marks that make a text bold then.
#pragma once

// On at the start; never in effect while colours are off altogether (rv_colors_toggle).
bool lua_colored();
// Returns what it was.
bool lua_set_colored(bool on);

// The escape sequences, or "" without colours.
const char *lua_bold_on();
const char *lua_bold_off();
