// What the standard libraries of a context do otherwise than Lua's own.
#pragma once

#include <lua.hpp>

namespace rv {

// Takes everything but absolute paths out of package.path and package.cpath.
void lua_limit_search(lua_State *L);
// print, io.write and the like go through the context's output.
void lua_redirect_output(lua_State *L);

// os.execute, io.popen and os.exit of our own.
void lua_add_processes(lua_State *L);

}  // namespace rv
