// Between JSON and Lua values. Tables are read raw: no metamethod runs.
#include "libglobal/lua/json.h"

#include <algorithm>
#include <string>
#include <vector>

#include <math.h>
#include <stdlib.h>
#include <string.h>

namespace rv {

namespace {

constexpr size_t depth_limit = 100;
constexpr char array_type[] = "rv.array", null_type[] = "rv.null";

int null_text(lua_State *L) {
    lua_pushliteral(L, "null");
    return 1;
}

void push_object(lua_State *L, const json_t *object) {
    lua_createtable(L, 0, static_cast<int>(json_object_size(object)));
    const char *key;
    size_t length;
    json_t *value;
    json_object_keylen_foreach(const_cast<json_t *>(object), key, length, value) {
        lua_pushlstring(L, key, length);
        lua_push_json(L, value);
        lua_rawset(L, -3);
    }
}

void push_array(lua_State *L, const json_t *array) {
    const size_t count = json_array_size(array);
    lua_createtable(L, static_cast<int>(count), 0);
    for (size_t i = 0; i < count; i++) {
        lua_push_json(L, json_array_get(array, i));
        lua_rawseti(L, -2, static_cast<lua_Integer>(i + 1));
    }
    luaL_newmetatable(L, array_type);
    lua_setmetatable(L, -2);
}

// A table that is being taken, and the key whose value is: a name, lent, or a place in an array, or neither yet.
struct Level {
    const void *table;
    const char *name;
    lua_Integer place;
};

// The tables around what is being taken, outermost first.
using Around = std::vector<Level>;

Json take(lua_State *L, int index, Around &around);

// Where that is, as "a.b[1]: "; nothing for the outermost value.
std::string way(const Around &around) {
    std::string text;
    for (const Level &level : around) {
        if (level.name) text += (text.empty() ? "" : ".") + std::string(level.name);
        if (level.place > 0) text += "[" + std::to_string(level.place) + "]";
    }
    return text.empty() ? text : text + ": ";
}

template <typename... Parts>
[[noreturn]] void refuse(lua_State *L, const Around &around, const char *format, Parts... parts) {
    lua_pushstring(L, way(around).c_str());
    lua_pushfstring(L, format, parts...);
    luaL_error(L, "%s%s", lua_tostring(L, -2), lua_tostring(L, -1));
    abort();  // it has raised
}

Json take_text(lua_State *L, int index, const Around &around) {
    size_t length = 0;
    const char *text = lua_tolstring(L, index, &length);
    Json json(json_stringn(text, length));
    if (!json) refuse(L, around, "a text that is not UTF-8 can't be JSON");
    return json;
}

Json take_number(lua_State *L, int index, const Around &around) {
    if (lua_isinteger(L, index)) return Json(json_integer(lua_tointeger(L, index)));
    const lua_Number number = lua_tonumber(L, index);
    if (!isfinite(number)) refuse(L, around, "%f can't be JSON: it is out of range", number);
    return Json(json_real(number));
}

bool is_array(lua_State *L, int table) {
    if (!lua_getmetatable(L, table)) return false;
    luaL_newmetatable(L, array_type);
    const bool same = lua_rawequal(L, -1, -2);
    lua_pop(L, 2);
    return same;
}

// Whether the table has the keys 1 to n, n its raw length, and no other.
bool is_sequence(lua_State *L, int table) {
    const size_t length = lua_rawlen(L, table);
    size_t count = 0;
    for (lua_pushnil(L); lua_next(L, table); lua_pop(L, 1)) {
        const lua_Integer key = lua_isinteger(L, -2) ? lua_tointeger(L, -2) : 0;
        if (key < 1 || static_cast<size_t>(key) > length) {
            lua_pop(L, 2);
            return false;
        }
        count++;
    }
    return count == length;
}

Json take_array(lua_State *L, int table, Around &around) {
    if (!is_sequence(L, table)) refuse(L, around, "an array with holes or keys that are no places can't be JSON");
    Json array(json_array());
    const auto length = static_cast<lua_Integer>(lua_rawlen(L, table));
    for (lua_Integer i = 1; i <= length; i++) {
        lua_rawgeti(L, table, i);
        around.back().place = i;
        json_array_append_new(array.get(), take(L, lua_gettop(L), around).release());
        lua_pop(L, 1);
    }
    return array;
}

Json take_object(lua_State *L, int table, Around &around) {
    Json object(json_object());
    for (lua_pushnil(L); lua_next(L, table); lua_pop(L, 1)) {
        if (lua_type(L, -2) != LUA_TSTRING)
            refuse(L, around, "a key that is no text (%s) can't be JSON", luaL_tolstring(L, -2, nullptr));
        size_t length = 0;
        const char *key = lua_tolstring(L, -2, &length);
        around.back().name = key;
        Json value = take(L, lua_gettop(L), around);
        around.back().name = nullptr;
        if (json_object_setn_new(object.get(), key, length, value.release()) != 0)
            refuse(L, around, "a key that is not UTF-8 can't be JSON");
    }
    return object;
}

Json take_table(lua_State *L, int table, Around &around) {
    const void *address = lua_topointer(L, table);
    if (std::any_of(around.begin(), around.end(), [&](const Level &level) { return level.table == address; }))
        refuse(L, around, "a table that holds itself can't be JSON");
    if (around.size() == depth_limit) luaL_error(L, "tables deeper than %d can't be JSON", int{depth_limit});
    luaL_checkstack(L, 12, "nested tables");
    around.push_back({address, nullptr, 0});
    const bool array = is_array(L, table) || (lua_rawlen(L, table) > 0 && is_sequence(L, table));
    Json json = array ? take_array(L, table, around) : take_object(L, table, around);
    around.pop_back();
    return json;
}

Json take(lua_State *L, int index, Around &around) {
    switch (lua_type(L, index)) {
        case LUA_TBOOLEAN:
            return Json(json_boolean(lua_toboolean(L, index)));
        case LUA_TNUMBER:
            return take_number(L, index, around);
        case LUA_TSTRING:
            return take_text(L, index, around);
        case LUA_TTABLE:
            return take_table(L, index, around);
        case LUA_TUSERDATA:
            if (luaL_testudata(L, index, null_type)) return Json(json_null());
            break;
        case LUA_TNIL:
            refuse(L, around, "nil can't be JSON: its null is rv.null");
        default:
            break;
    }
    refuse(L, around, "a %s can't be JSON", luaL_typename(L, index));
}

}  // namespace

void lua_push_null(lua_State *L) {
    static const char key = 0;
    if (lua_rawgetp(L, LUA_REGISTRYINDEX, &key) == LUA_TUSERDATA) return;
    lua_pop(L, 1);
    lua_newuserdata(L, 0);
    luaL_newmetatable(L, null_type);
    lua_pushcfunction(L, null_text);
    lua_setfield(L, -2, "__tostring");
    lua_setmetatable(L, -2);
    lua_pushvalue(L, -1);
    lua_rawsetp(L, LUA_REGISTRYINDEX, &key);
}

void lua_push_json(lua_State *L, const json_t *json) {
    luaL_checkstack(L, 4, "nested JSON");
    if (json_is_object(json)) {
        push_object(L, json);
    } else if (json_is_array(json)) {
        push_array(L, json);
    } else if (json_is_string(json)) {
        lua_pushlstring(L, json_string_value(json), json_string_length(json));
    } else if (json_is_integer(json)) {
        lua_pushinteger(L, json_integer_value(json));
    } else if (json_is_real(json)) {
        lua_pushnumber(L, json_real_value(json));
    } else if (json_is_boolean(json)) {
        lua_pushboolean(L, json_is_true(json));
    } else {
        lua_push_null(L);
    }
}

Json lua_to_json(lua_State *L, int index, const char *name) {
    Around around;
    if (name) around.push_back({nullptr, name, 0});
    return take(L, lua_absindex(L, index), around);
}

const char *lua_name_argument(lua_State *L, int index) {
    size_t length = 0;
    const char *name = luaL_checklstring(L, index, &length);
    luaL_argcheck(L, strlen(name) == length, index, "a zero byte is in it");
    return name;
}

Json lua_json_name_argument(lua_State *L, int index) {
    lua_name_argument(L, index);
    return take_text(L, index, {});
}

}  // namespace rv
