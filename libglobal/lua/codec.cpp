// rv.encode and rv.decode.
#include <algorithm>

#include <stdio.h>
#include <stdlib.h>

#include "libglobal/lua/failure.h"
#include "libglobal/lua/json.h"
#include "libglobal/lua/rv_functions.h"

namespace rv {

namespace {

struct Free {
    void operator()(char *text) const { free(text); }
};

// The fewest digits that tell a real from every other one: 15, where that is enough.
int digits_of(double real) {
    constexpr int fewest = 15, enough = 17;
    char text[32];
    for (int digits = fewest; digits < enough; digits++) {
        snprintf(text, sizeof text, "%.*g", digits, real);
        if (strtod(text, nullptr) == real) return digits;
    }
    return enough;
}

// The same for all reals in a value.
int precision_of(const json_t *json) {
    int digits = 0;
    if (json_is_real(json)) digits = digits_of(json_real_value(json));
    for (size_t i = 0; i < json_array_size(json); i++) digits = std::max(digits, precision_of(json_array_get(json, i)));
    auto *object = const_cast<json_t *>(json);
    for (void *at = json_object_iter(object); at; at = json_object_iter_next(object, at))
        digits = std::max(digits, precision_of(json_object_iter_value(at)));
    return digits;
}

int encode(lua_State *L) {
    luaL_checkany(L, 1);
    const Json json = lua_to_json(L, 1);
    const auto precision = static_cast<size_t>(precision_of(json.get()));
    const std::unique_ptr<char, Free> text(
        json_dumps(json.get(), JSON_COMPACT | JSON_ENCODE_ANY | JSON_SORT_KEYS | JSON_REAL_PRECISION(precision)));
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
