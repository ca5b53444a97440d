// Fuzzes rv.decode and rv.encode: what is decoded encodes to a text that says the same.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <jansson.h>

#include "rv/lua.h"

namespace {

constexpr char chunk[] =
    "local text = ...\n"
    "local value, problem = rv.decode(text)\n"
    "if value == nil then assert(type(problem) == 'string') return end\n"
    "local first = assert(rv.encode(value))\n"
    "assert(rv.encode(rv.decode(first)) == first, first)\n";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    json_auto_t *arguments = json_array();
    // What is not UTF-8 can't be an argument, nor what holds a zero byte.
    if (memchr(data, 0, size) ||
        json_array_append_new(arguments, json_stringn(reinterpret_cast<const char *>(data), size)))
        return 0;
    rv_lua *context = rv_lua_init(0);
    if (rv_lua_exec(context, chunk, strlen(chunk), "chunk", arguments) != RV_LUA_DONE) abort();
    rv_lua_free(context);
    return 0;
}
