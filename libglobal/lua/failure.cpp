// Failures as Lua values, and rv.check, which makes errors of them.
#include "libglobal/lua/failure.h"

#include <string>

#include "libglobal/lua/json.h"
#include "libglobal/lua/rv_functions.h"

namespace rv {

namespace {

constexpr char failure_type[] = "rv.failure";

// The value on top of the stack as a text, and pops it.
std::string pop_text(lua_State *L) {
    size_t length = 0;
    const char *text = luaL_tolstring(L, -1, &length);
    std::string copy(text, length);
    lua_pop(L, 2);
    return copy;
}

// prefix and the text in a field of the failure, argument 1; nothing where it has none.
std::string field_text(lua_State *L, const char *prefix, const char *field) {
    if (lua_getfield(L, 1, field) != LUA_TNIL) return prefix + pop_text(L);
    lua_pop(L, 1);
    return "";
}

std::string data_text(lua_State *L) {
    std::string text;
    lua_getfield(L, 1, "data");
    if (!lua_istable(L, -1)) return text;
    for (lua_pushnil(L); lua_next(L, -2);) {
        const std::string told = pop_text(L);
        lua_pushvalue(L, -1);
        text += "; " + pop_text(L) + ": " + told;
    }
    return text;
}

int failure_text(lua_State *L) {
    const std::string text = field_text(L, "", "where") + field_text(L, "", "message") + field_text(L, " (", "code") +
                             ")" + field_text(L, ": ", "detail") + data_text(L);
    lua_pushlstring(L, text.data(), text.size());
    return 1;
}

void set_field(lua_State *L, const char *field, const char *text) {
    if (!text) return;
    lua_pushstring(L, text);
    lua_setfield(L, -2, field);
}

// Pushes nil, the message and a failure with both.
void push_three(lua_State *L, int code, const char *message) {
    lua_pushnil(L);
    lua_pushstring(L, message);
    lua_newtable(L);
    lua_pushinteger(L, code);
    lua_setfield(L, -2, "code");
    lua_pushvalue(L, -2);
    lua_setfield(L, -2, "message");
    if (luaL_newmetatable(L, failure_type)) {
        lua_pushcfunction(L, failure_text);
        lua_setfield(L, -2, "__tostring");
    }
    lua_setmetatable(L, -2);
}

bool is_failure(lua_State *L, int index) {
    if (!lua_istable(L, index) || !lua_getmetatable(L, index)) return false;
    luaL_getmetatable(L, failure_type);
    const bool same = lua_rawequal(L, -1, -2);
    lua_pop(L, 2);
    return same;
}

// Gives its arguments, unless the first one is nil: then raises what the others tell.
int check(lua_State *L) {
    luaL_checkany(L, 1);
    if (!lua_isnil(L, 1)) return lua_gettop(L);
    if (is_failure(L, 3)) {
        luaL_where(L, 1);
        lua_setfield(L, 3, "where");
        lua_settop(L, 3);
        return lua_error(L);
    }
    return luaL_error(L, "%s", luaL_optstring(L, 2, "check failed"));
}

}  // namespace

int lua_push_failure(lua_State *L, int code, const char *message) {
    push_three(L, code, message);
    return 3;
}

int lua_push_failure(lua_State *L, const rv_jrpcmsg *reply) {
    const char *message = rv_jrpcmsg_get_error_message(reply);
    push_three(L, rv_jrpcmsg_get_error_code(reply), message ? message : "no error message");
    set_field(L, "detail", rv_jrpcmsg_get_error_detail(reply));
    if (const json_t *data = rv_jrpcmsg_get_errordata_json(reply)) {
        lua_push_json(L, data);
        lua_setfield(L, -2, "data");
    }
    return 3;
}

const luaL_Reg failure_functions[] = {{"check", check}, {nullptr, nullptr}};

}  // namespace rv
