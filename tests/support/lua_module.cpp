// A compiled module of Lua's, "corvane.compiled": it finds Lua in the program that loads it.
#include <lua.hpp>

namespace {

int answer(lua_State *L) {
    lua_pushinteger(L, 42);
    return 1;
}

constexpr luaL_Reg functions[] = {{"answer", answer}, {nullptr, nullptr}};

}  // namespace

extern "C" __attribute__((visibility("default"))) int luaopen_corvane_compiled(lua_State *L) {
    luaL_newlib(L, functions);
    return 1;
}
