#include "ravc/lua/traceback.h"

#include <string.h>

#include "ravc/lua/colors.h"

namespace {

constexpr int most_levels = 10000;  // Lua walks to each from the first one: all of an endless recursion take minutes

// Pushes what was raised as a text.
void push_message(lua_State *L) {
    if (lua_isstring(L, 1)) {
        lua_pushvalue(L, 1);
    } else if (lua_isnoneornil(L, 1) || !luaL_callmeta(L, 1, "__tostring") || !lua_isstring(L, -1)) {
        lua_pushliteral(L, "(no error message)");
    }
}

void add_name(lua_State *L, luaL_Buffer *text, const char *name) {
    if (name) {
        lua_pushfstring(L, "'%s%s%s'\n", lua_bold_on(), name, lua_bold_off());
    } else {
        lua_pushfstring(L, "%s?%s\n", lua_bold_on(), lua_bold_off());
    }
    luaL_addvalue(text);
}

void add_level(lua_State *L, luaL_Buffer *text, int level, const lua_Debug &frame) {
    if (frame.istailcall) luaL_addstring(text, "\t... tail calls\n");
    const bool native = strcmp(frame.what, "C") == 0;
    const bool main = strcmp(frame.what, "main") == 0;
    if (native) {
        lua_pushfstring(L, "\t#%d %s[C]:%s in function ", level, lua_bold_on(), lua_bold_off());
    } else {
        lua_pushfstring(L, "\t#%d %s%s:%d:%s in %s", level, lua_bold_on(), frame.short_src, frame.currentline,
                        lua_bold_off(), main ? "the main chunk\n" : "function ");
    }
    luaL_addvalue(text);
    if (!main) add_name(L, text, frame.name);
}

}  // namespace

int lua_traceback_handler(lua_State *L) {
    push_message(L);
    luaL_Buffer text;
    luaL_buffinit(L, &text);
    lua_pushvalue(L, -1);
    luaL_addvalue(&text);
    luaL_addstring(&text, "\n\nStack trace:\n");
    lua_Debug frame;
    int level = 0;
    for (; level < most_levels && lua_getstack(L, level, &frame); ++level) {  // level 0 is this handler: intended
        lua_getinfo(L, "Snlt", &frame);
        add_level(L, &text, level, frame);
    }
    if (lua_getstack(L, level, &frame)) luaL_addstring(&text, "\t...\n");
    if (level == 0) luaL_addstring(&text, "No activation records.\n");
    luaL_pushresult(&text);
    return 1;
}
