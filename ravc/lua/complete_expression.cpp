// Completion of the last key of an expression, and of globals. What the expression before the key gives is iterated
// over; iterator, state and key stay on the stack from one call to the next.
#include <math.h>
#include <string.h>

#include "libglobal/term/text.h"
#include "ravc/lua/complete.h"
#include "ravc/lua/lua.h"

namespace {

constexpr int most_slots = 8;  // of the stack: what stays there, and one call's arguments

struct {
    int height;              // of the stack before the enumeration
    std::string expression;  // before the separator
    std::string begin;       // of each candidate: up to the separator, which is included
    std::string key;         // what is typed of it
    char separator;          // 0: a global
    LuaKeys keys;
    std::string candidate;
} now;

// Takes word apart at its last separator; one at its begin is none.
void split_word(std::string_view word) {
    const size_t at = word.find_last_of(".:[");
    const bool is_field = at != word.npos && at > 0;
    now.expression = word.substr(0, is_field ? at : 0);
    now.begin = word.substr(0, is_field ? at + 1 : 0);
    now.key = word.substr(now.begin.size());
    now.separator = is_field ? word[at] : '\0';
}

bool has_fields(lua_State *L, int index) {
    return lua_istable(L, index) || lua_isuserdata(L, index);
}

// Pushes the global function, or raises.
void push_function(lua_State *L, const char *name) {
    lua_pushglobaltable(L);
    lua_pushstring(L, name);
    if (lua_rawget(L, -2) != LUA_TFUNCTION) luaL_error(L, "no function");
}

// Pushes what the key is looked for in.
void push_object(lua_State *L) {
    if (!now.separator) return lua_pushglobaltable(L);
    const std::string chunk = "return " + now.expression;
    if (luaL_loadbufferx(L, chunk.data(), chunk.size(), "completion", "t") != LUA_OK) lua_error(L);
    lua_call(L, 0, 1);
}

// Returns an iterator, its state and its first key.
int begin_enumeration(lua_State *L) {
    push_object(L);
    const int object = lua_gettop(L);
    if (!has_fields(L, object)) return luaL_error(L, "no fields");
    if (now.keys == LuaKeys::own) {
        push_function(L, "pairs");
        lua_pushvalue(L, object);
        lua_call(L, 1, 3);
        return 3;
    }
    luaL_getmetafield(L, object, "__index");
    const int index = lua_gettop(L);
    if (index == object || !has_fields(L, index)) return luaL_error(L, "no inherited fields");
    push_function(L, "next");
    lua_pushvalue(L, index);
    lua_pushnil(L);
    return 3;
}

// The key as it is written behind "[". Returns false where it can't be.
bool bracketed_key(lua_State *L, int index, std::string *text) {
    if (lua_type(L, index) == LUA_TSTRING) {
        const char quote = now.key[0] == '\'' ? '\'' : '"';
        size_t length = 0;
        const char *key = lua_tolstring(L, index, &length);
        *text = quote + std::string(key, length) + quote + "]";
        return true;
    }
    constexpr double most_integer = 9007199254740992.0;  // up to which each one is a number of its own
    const lua_Number number = lua_tonumber(L, index);
    const lua_Number whole = nearbyint(number);
    if (lua_type(L, index) != LUA_TNUMBER || !(fabs(number - whole) < 1e-6) || fabs(whole) > most_integer) return false;
    *text = std::to_string(static_cast<long long>(whole)) + "]";
    return true;
}

// The key as it is written behind the separator. Returns false where it can't be.
bool key_text(lua_State *L, int index, std::string *text) {
    if (now.separator == '[') return bracketed_key(L, index, text);
    if (lua_type(L, index) != LUA_TSTRING) return false;
    size_t length = 0;
    const char *key = lua_tolstring(L, index, &length);
    text->assign(key, length);
    return true;
}

// What may follow a value whose key is typed in full.
const char *accessor(lua_State *L, int value) {
    if (lua_isfunction(L, value)) return "(";
    if (!lua_istable(L, value)) return "";
    lua_pushnil(L);
    if (!lua_next(L, value)) return "";
    const bool is_string = lua_type(L, -2) == LUA_TSTRING;
    lua_pop(L, 2);
    return is_string ? "." : "[";
}

// Whether the key and its value at these stack indices make a candidate.
bool take_pair(lua_State *L, int key, int value) {
    std::string text;
    if (now.separator == ':' && !lua_isfunction(L, value)) return false;
    if (!key_text(L, key, &text) || !text.starts_with(now.key) || rv::has_control(text)) return false;
    now.candidate = now.begin + text;
    if (text == now.key) now.candidate += accessor(L, value);
    return true;
}

// Arguments: iterator, state, key. Returns the next key that makes a candidate, or nil.
int advance(lua_State *L) {
    for (;;) {
        lua_settop(L, 3);
        for (int i = 1; i <= 3; ++i) lua_pushvalue(L, i);
        lua_call(L, 2, 2);
        if (lua_isnil(L, 4)) return 1;
        lua_copy(L, 4, 3);
        if (take_pair(L, 4, 5)) {
            lua_settop(L, 3);
            return 1;
        }
    }
}

bool begin(rv_lua *context, const char *word, LuaKeys keys) {
    lua_State *L = context->state;
    now.height = lua_gettop(L);
    now.keys = keys;
    split_word(word);
    if (!lua_checkstack(L, most_slots)) return false;
    lua_pushcfunction(L, begin_enumeration);
    return lua_complete_call(context, 0, 3);
}

// Returns false at the end.
bool step(rv_lua *context) {
    lua_State *L = context->state;
    lua_pushcfunction(L, advance);
    for (int i = 1; i <= 3; ++i) lua_pushvalue(L, now.height + i);
    if (!lua_complete_call(context, 3, 1) || lua_isnil(L, -1)) return false;
    lua_replace(L, now.height + 3);
    return true;
}

}  // namespace

char *lua_complete_expression(rv_lua *context, const char *word, int index, LuaKeys keys) {
    if ((index > 0 || begin(context, word, keys)) && step(context)) return strdup(now.candidate.c_str());
    lua_settop(context->state, now.height);
    return nullptr;
}
