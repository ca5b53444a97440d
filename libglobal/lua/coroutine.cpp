// coroutine.resume and coroutine.wrap, so that Ctrl-C reaches a loop inside of a coroutine, too.
#include <lua.hpp>

#include "libglobal/lua/interrupt.h"

namespace rv {

namespace {

// Upvalue 1 is what resume was; on the stack are the coroutine and what it is resumed with.
int resume(lua_State *L) {
    lua_State *thread = lua_tothread(L, 1);
    luaL_argcheck(L, thread, 1, "coroutine expected");
    const RunningThread scope(thread);
    return lua_tocfunction(L, lua_upvalueindex(1))(L);
}

// A function that wrap made: upvalue 2 is its coroutine.
int wrapped(lua_State *L) {
    lua_pushvalue(L, lua_upvalueindex(2));
    lua_insert(L, 1);
    const int count = resume(L);
    if (lua_toboolean(L, -count)) return count - 1;
    if (lua_type(L, -1) == LUA_TSTRING) {
        luaL_where(L, 1);
        lua_insert(L, -2);
        lua_concat(L, 2);
    }
    return lua_error(L);
}

int wrap(lua_State *L) {
    luaL_checktype(L, 1, LUA_TFUNCTION);
    lua_pushvalue(L, lua_upvalueindex(1));
    lua_State *thread = lua_newthread(L);
    lua_pushvalue(L, 1);
    lua_xmove(L, thread, 1);
    lua_pushcclosure(L, wrapped, 2);
    return 1;
}

}  // namespace

void lua_watch_coroutines(lua_State *L) {
    lua_getglobal(L, LUA_COLIBNAME);
    lua_getfield(L, -1, "resume");
    lua_pushvalue(L, -1);
    lua_pushcclosure(L, wrap, 1);
    lua_setfield(L, -3, "wrap");
    lua_pushcclosure(L, resume, 1);
    lua_setfield(L, -2, "resume");
    lua_pop(L, 1);
}

}  // namespace rv
