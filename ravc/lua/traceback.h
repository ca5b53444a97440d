// What a Lua error is told with: its message and where it happened.
#pragma once

#include "ravc/lua/lua.h"

// The message handler for lua_pcall(): takes what was raised, returns one text of it and of every function that was
// active, one a line; past 10,000 of them there is but "...".
int lua_traceback_handler(lua_State *L);
