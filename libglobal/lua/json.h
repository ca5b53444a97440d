// JSON as Lua values and back. Integers stay integers and reals reals; null is one userdata, and every array has a
// metatable that tells it from an object, also when it is empty.
#pragma once

#include <lua.hpp>
#include <memory>

#include <jansson.h>

namespace rv {

struct JsonRelease {
    void operator()(json_t *json) const { json_decref(json); }
};
using Json = std::unique_ptr<json_t, JsonRelease>;

// Pushes null.
void lua_push_null(lua_State *L);
// Pushes a value; null for a null pointer.
void lua_push_json(lua_State *L, const json_t *json);

// The value at index as JSON. A table with the arrays' metatable is an array, and so is one with the keys 1 to n; any
// other one is an object and has texts as keys. Raises an error for what JSON can't hold: functions and the like, reals
// that are no numbers, texts that are not UTF-8, tables that hold themselves or are deeper than 100. The error tells
// where in the value that is, behind name, if there is one.
Json lua_to_json(lua_State *L, int index, const char *name = nullptr);

// The argument at index, a name: a text without zero bytes, lent. Raises an error for what is none.
const char *lua_name_argument(lua_State *L, int index);
// The same as JSON; raises an error for what is not UTF-8, too.
Json lua_json_name_argument(lua_State *L, int index);

}  // namespace rv
