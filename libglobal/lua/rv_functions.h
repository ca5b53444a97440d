// The global table "rv": its functions, by family. docs/lua.md tells what each one takes and gives.
#pragma once

#include <lua.hpp>

namespace rv {

extern const luaL_Reg value_functions[];    // get, set, add, del
extern const luaL_Reg model_functions[];    // names, attributes, tree, schema, select, each
extern const luaL_Reg method_functions[];   // execute, call
extern const luaL_Reg event_functions[];    // on, listen
extern const luaL_Reg wait_functions[];     // wait
extern const luaL_Reg codec_functions[];    // encode, decode
extern const luaL_Reg failure_functions[];  // check

int lua_get(lua_State *L);  // rv.get

// Sets the global "rv".
void lua_add_rv(lua_State *L);

}  // namespace rv
