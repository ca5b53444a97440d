// The shell's own Lua modules.
#pragma once

#include "rv/lua.h"

// Requires every module of the shell's module folder, in the order of their names, and makes each one that loads a
// global of its own name; prints "> preloaded NAME". What can't be loaded is passed over. Leaves the stack as it was.
// Returns RV_LUA_DONE, or RV_LUA_INTERRUPTED or RV_LUA_EXIT when that happened while one was loading, which ends it.
int lua_preload_modules(rv_lua *context);
