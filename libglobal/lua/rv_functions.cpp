#include "libglobal/lua/rv_functions.h"

#include "libglobal/lua/json.h"

namespace rv {

void lua_add_rv(lua_State *L) {
    lua_newtable(L);
    for (const luaL_Reg *functions : {value_functions, model_functions, method_functions, event_functions,
                                      wait_functions, codec_functions, failure_functions})
        luaL_setfuncs(L, functions, 0);
    lua_push_null(L);
    lua_setfield(L, -2, "null");
    luaL_getsubtable(L, LUA_REGISTRYINDEX, LUA_LOADED_TABLE);  // so that require() knows it, and errors its functions
    lua_pushvalue(L, -2);
    lua_setfield(L, -2, "rv");
    lua_pop(L, 1);
    lua_setglobal(L, "rv");
}

}  // namespace rv
