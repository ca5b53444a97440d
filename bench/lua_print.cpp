// What the printer of Lua values costs: microseconds an entry, for tables of 10,000 and 100,000 entries, as a sequence
// of numbers and as texts under names, each of the latter on a line of its own. That both sizes cost the same an entry
// is what is looked at; before the first figure the printer's buffer is empty.
#include <stdio.h>
#include <time.h>

#include "ravc/lua/value_print.h"

namespace {

struct Shape {
    const char *name;
    const char *chunk;  // makes a table of n entries
};

constexpr Shape shapes[] = {
    {"a sequence", "local n, t = ..., {} for i = 1, n do t[i] = i end return t"},
    {"named texts", "local n, t = ..., {} for i = 1, n do t['Name' .. i] = 'value ' .. i end return t"},
};

double now_us() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) * 1e6 + static_cast<double>(t.tv_nsec) / 1e3;
}

void measure(lua_State *L, const Shape &shape, int entries) {
    luaL_loadstring(L, shape.chunk);
    lua_pushinteger(L, entries);
    lua_call(L, 1, 1);
    const double begin = now_us();
    lua_print_begin(L, 80);
    lua_value_print(L, -1);
    lua_print_end(L);
    printf("%7d entries, %-11s: %6.3f us an entry, %zu bytes\n", entries, shape.name, (now_us() - begin) / entries,
           lua_printed().size());
    lua_settop(L, 0);
}

}  // namespace

int main() {
    lua_State *L = luaL_newstate();
    for (const Shape &shape : shapes)
        for (const int entries : {10000, 100000}) measure(L, shape, entries);
    lua_close(L);
    return 0;
}
