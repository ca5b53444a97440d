// Lua's interface. The Lua that is linked in is the C++ build: its errors are exceptions, under C's names.
#pragma once

extern "C" {
#include <lauxlib.h>
#include <lua.h>
#include <lualib.h>
}
