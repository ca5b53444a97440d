// Sending requests for scripts, and the parts that many requests have.
#include "libglobal/lua/request.h"

#include <map>

#include <string.h>

#include "libglobal/lua/context.h"
#include "libglobal/lua/failure.h"
#include "libglobal/lua/interrupt.h"

namespace rv {

namespace {

// Once more where nothing of the request was taken.
void execute(rv_jrpcapi *c, rv_jrpcmsg *message) {
    const TimeoutScope scope(c, -1);
    if (rv_jrpcapi_exec(c, message) == RV_SOCKET_ERR_CLOSED) rv_jrpcapi_exec(c, message);
}

}  // namespace

const json_t *lua_request(lua_State *L, const Message &message) {
    return lua_request(L, lua_context(L).connection, message);
}

const json_t *lua_request(lua_State *L, rv_jrpcapi *connection, const Message &message) {
    if (!message) luaL_error(L, "a text that is not UTF-8 can't be sent");
    if (!connection) {
        lua_push_failure(L, RV_SOCKET_ERR_CLOSED, "no connection to the daemon");
        return nullptr;
    }
    execute(connection, message.get());
    lua_raise_if_stopping();
    if (const json_t *result = rv_jrpcmsg_get_result_json(message.get())) return result;
    lua_push_failure(L, message.get());
    return nullptr;
}

const json_t *lua_request(lua_State *L, const Message &message, const char *member) {
    const json_t *result = lua_request(L, message);
    if (!result) return nullptr;
    if (const json_t *value = json_object_get(result, member)) return value;
    lua_push_failure(L, RV_SOCKET_ERR_GARBAGE, lua_pushfstring(L, "the daemon's reply has no %s", member));
    return nullptr;
}

Json lua_to_pairs(lua_State *L, int index, const std::string &prefix) {
    std::map<std::string, Json> values;
    lua_pushvalue(L, index);
    for (lua_pushnil(L); lua_next(L, -2); lua_pop(L, 1)) {
        luaL_argcheck(L, lua_type(L, -2) == LUA_TSTRING, index, "its keys must be names");
        const char *name = lua_tostring(L, -2);
        luaL_argcheck(L, strlen(name) == lua_rawlen(L, -2), index, "a zero byte is in a name");
        values[prefix + name] = lua_to_json(L, -1, name);
    }
    lua_pop(L, 1);
    Json pairs(json_array());
    for (auto &[name, value] : values) {
        json_t *pair = json_pack("{s:s, s:o}", "Name", name.c_str(), "Value", value.release());
        if (!pair) luaL_error(L, "a name that is not UTF-8 can't be sent");
        json_array_append_new(pairs.get(), pair);
    }
    return pairs;
}

const char *lua_entry_name(const json_t *entry) {
    const char *name = json_string_value(json_object_get(entry, "Name"));
    return name ? name : "";
}

std::string lua_object_argument(lua_State *L, int index) {
    std::string path = lua_name_argument(L, index);
    if (!path.ends_with('.')) path += '.';
    return path;
}

}  // namespace rv
