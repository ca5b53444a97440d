// A Lua context's own side, and how functions that Lua calls find it.
#pragma once

#include <lua.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "libglobal/net/connection.h"
#include "rv/lua.h"

struct rv_lua_own {
    std::string output, error;
    bool collecting = false;  // output is kept, not shown
    int exit_status = 0;
    std::vector<uint32_t> joined;  // event groups that scripts have joined, and are to be left
    rv::Kept seen;                 // events that scripts were given of groups that the program has joined itself
};

namespace rv {

// The context that a state, or one of its coroutines, belongs to.
rv_lua &lua_context(lua_State *L);

// What a script prints: collected, or written to standard output.
void lua_emit(rv_lua &context, std::string_view text);
// Writes what was collected to standard output and flushes that.
void lua_show_output(rv_lua &context);

}  // namespace rv
