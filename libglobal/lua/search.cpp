// Where modules are looked for: never in the working directory, which anybody may have filled.
#include <string_view>

#include "libglobal/lua/libraries.h"

namespace rv {

namespace {

// Sets a field of the table on top of the stack, a list of templates, to those of them that are absolute.
void keep_absolute(lua_State *L, const char *field) {
    lua_getfield(L, -1, field);
    size_t length = 0;
    const char *text = luaL_checklstring(L, -1, &length);
    luaL_Buffer kept;
    luaL_buffinit(L, &kept);
    bool first = true;
    for (std::string_view rest(text, length); !rest.empty();) {
        const std::string_view path = rest.substr(0, rest.find(';'));
        rest.remove_prefix(path.size() < rest.size() ? path.size() + 1 : path.size());
        if (!path.starts_with('/')) continue;
        if (!first) luaL_addchar(&kept, ';');
        first = false;
        luaL_addlstring(&kept, path.data(), path.size());
    }
    luaL_pushresult(&kept);
    lua_setfield(L, -3, field);
    lua_pop(L, 1);
}

}  // namespace

void lua_limit_search(lua_State *L) {
    lua_getglobal(L, LUA_LOADLIBNAME);
    keep_absolute(L, "path");
    keep_absolute(L, "cpath");
    lua_pop(L, 1);
}

}  // namespace rv
