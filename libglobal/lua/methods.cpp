// rv.execute, a method of the data model, and rv.call, any method of the daemon.
#include "libglobal/lua/request.h"
#include "libglobal/lua/rv_functions.h"

namespace rv {

namespace {

int execute(lua_State *L) {
    const char *path = lua_name_argument(L, 1);
    Json arguments;
    if (!lua_isnoneornil(L, 2)) {
        luaL_checktype(L, 2, LUA_TTABLE);
        arguments = lua_to_pairs(L, 2, "");
    }
    const Message message(rv_jrpcmsg_cmd_execute_new(path, arguments.release()));
    const json_t *list = lua_request(L, message, "ParameterList");
    if (!list) return 3;
    lua_newtable(L);
    for (size_t i = 0; i < json_array_size(list); i++) {
        const json_t *entry = json_array_get(list, i);
        lua_push_json(L, json_object_get(entry, "Value"));
        lua_setfield(L, -2, lua_entry_name(entry));
    }
    return 1;
}

int call(lua_State *L) {
    const char *method = lua_name_argument(L, 1);
    Json params;
    if (!lua_isnoneornil(L, 2)) {
        luaL_checktype(L, 2, LUA_TTABLE);
        params = lua_to_json(L, 2);
    }
    const Message message(rv_jrpcmsg_create_new(method, params.release()));
    const json_t *result = lua_request(L, message);
    if (!result) return 3;
    lua_push_json(L, result);
    return 1;
}

}  // namespace

const luaL_Reg method_functions[] = {{"execute", execute}, {"call", call}, {nullptr, nullptr}};

}  // namespace rv
