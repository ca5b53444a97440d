// Fuzzes the printer of Lua values: the bytes build a value, with cycles and metatables that raise, lie and recurse.
// Whatever it is, printing ends, leaves the stack as it was, and leaves the printer fit for the next value.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ravc/lua/colors.h"
#include "ravc/lua/value_print.h"

namespace {

// What is left of the bytes; zeros behind their end.
struct Bytes {
    const uint8_t *at, *end;

    uint8_t next() { return at < end ? *at++ : 0; }
    std::string text() {
        std::string bytes;
        for (unsigned left = next() % 100; left > 0 && at < end; --left) bytes += static_cast<char>(next());
        return bytes;
    }
};

constexpr int most_tables = 200;
constexpr const char *metatables[] = {
    "return {__tostring = function() return 'text' end}",
    "return {__tostring = function() error('broken') end}",
    "return {__tostring = function() error({}) end}",
    "return {__tostring = function(t) return t end}",
    "return {__index = function(_, k) return k end}",
    "return {__index = function() error('no') end}",
    "return {__eq = function() return true end}",
    "return {__eq = function() error('no') end}",
    "return {__len = function() return 1 << 60 end}",
    "return {__pairs = error, __metatable = false}",
    "return setmetatable({}, {__index = function() error('no') end})",
};

class Builder {
 public:
    Builder(lua_State *state, Bytes bytes) : L(state), bytes_(bytes) { lua_newtable(L); }

    // Pushes a value.
    void build(int depth) {
        luaL_checkstack(L, 10, "building");
        switch (bytes_.next() % 10) {
            case 0:
                return lua_pushnil(L);
            case 1:
                return lua_pushboolean(L, bytes_.next() & 1);
            case 2:
                return lua_pushinteger(L, static_cast<lua_Integer>(bytes_.next()) - 128);
            case 3: {
                uint64_t bits = 0;
                for (int n = 0; n < 8; n++) bits = bits << 8 | bytes_.next();
                lua_Number number;
                memcpy(&number, &bits, sizeof number);
                return lua_pushnumber(L, number);
            }
            case 4: {
                const std::string text = bytes_.text();
                lua_pushlstring(L, text.data(), text.size());
                return;
            }
            case 5:
                return lua_pushlightuserdata(L, this);
            case 6:  // a table that there is already
                if (count_ > 0) {
                    lua_rawgeti(L, 1, 1 + bytes_.next() % count_);
                } else {
                    lua_pushnil(L);
                }
                return;
            default:
                return depth < 60 && count_ < most_tables ? table(depth) : lua_pushnil(L);
        }
    }

 private:
    void table(int depth) {
        lua_newtable(L);
        lua_pushvalue(L, -1);
        lua_rawseti(L, 1, ++count_);
        const int entries = bytes_.next() % 8;
        for (int n = 1; n <= entries; n++) {
            if (bytes_.next() & 1) {
                build(depth + 1);
                lua_rawseti(L, -2, n);
                continue;
            }
            build(depth + 1);
            if (lua_isnil(L, -1) || (lua_type(L, -1) == LUA_TNUMBER && lua_tonumber(L, -1) != lua_tonumber(L, -1))) {
                lua_pop(L, 1);
                continue;
            }
            build(depth + 1);
            lua_rawset(L, -3);
        }
        const size_t meta = bytes_.next();
        if (meta >= std::size(metatables)) return;
        luaL_loadstring(L, metatables[meta]);
        lua_call(L, 0, 1);
        lua_setmetatable(L, -2);
    }

    lua_State *L;
    Bytes bytes_;
    int count_ = 0;
};

int print(lua_State *L) {
    lua_print_begin(L, 80);
    const int top = lua_gettop(L);
    lua_value_print(L, 2);
    if (lua_gettop(L) != top) abort();
    return 0;
}

int build_and_print(lua_State *L) {
    const auto *bytes = static_cast<const Bytes *>(lua_touserdata(L, 1));
    lua_settop(L, 0);
    Builder builder(L, *bytes);  // its tables are at index 1
    builder.build(0);
    lua_settop(L, 2);
    print(L);
    return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    lua_set_colored(size > 0 && data[0] & 1);
    lua_State *L = luaL_newstate();
    luaL_openlibs(L);
    Bytes bytes = {data, data + size};
    lua_pushcfunction(L, build_and_print);
    lua_pushlightuserdata(L, &bytes);
    lua_pcall(L, 1, 0, 0);
    lua_print_end(L);
    lua_settop(L, 0);
    lua_pushnil(L);
    luaL_loadstring(L, "return {1}");
    lua_call(L, 0, 1);
    lua_pushcfunction(L, print);
    lua_insert(L, 1);
    if (lua_pcall(L, 2, 0, 0) != LUA_OK || lua_printed() != "{ 1,  }") abort();
    lua_print_end(L);
    lua_close(L);
    return 0;
}
