// rv.encode and rv.decode.
#include <stdlib.h>

#include "libglobal/lua/failure.h"
#include "libglobal/lua/json.h"
#include "libglobal/lua/rv_functions.h"

namespace rv {

namespace {

struct Free {
    void operator()(char *text) const { free(text); }
};

int encode(lua_State *L) {
    luaL_checkany(L, 1);
    const Json json = lua_to_json(L, 1);
    const std::unique_ptr<char, Free> text(json_dumps(json.get(), JSON_COMPACT | JSON_ENCODE_ANY | JSON_SORT_KEYS));
    if (!text) return luaL_error(L, "not enough memory");
    lua_pushstring(L, text.get());
    return 1;
}

int decode(lua_State *L) {
    size_t length = 0;
    const char *text = luaL_checklstring(L, 1, &length);
    json_error_t error;
    const Json json(json_loadb(text, length, JSON_DECODE_ANY | JSON_ALLOW_NUL, &error));
    if (!json) return lua_push_failure(L, invalid_text, lua_pushfstring(L, "%d: %s", error.position, error.text));
    lua_push_json(L, json.get());
    return 1;
}

}  // namespace

const luaL_Reg codec_functions[] = {{"encode", encode}, {"decode", decode}, {nullptr, nullptr}};

}  // namespace rv
