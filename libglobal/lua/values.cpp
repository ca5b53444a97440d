// rv.get, rv.set, rv.add and rv.del.
#include <string_view>

#include <string.h>

#include "libglobal/lua/failure.h"
#include "libglobal/lua/request.h"
#include "libglobal/lua/rv_functions.h"

namespace rv {

namespace {

std::string_view next_element(std::string_view *rest) {
    const std::string_view element = rest->substr(0, rest->find('.'));
    rest->remove_prefix(element.size() < rest->size() ? element.size() + 1 : rest->size());
    return element;
}

// Whether a reply to path may have this name: path itself or something below, where "#template" is any instance.
bool belongs(std::string_view name, std::string_view path) {
    if (path == ".") return true;
    while (!path.empty()) {
        const std::string_view wanted = next_element(&path), element = next_element(&name);
        const bool any = wanted == "#template" && element.find_first_not_of("0123456789") == element.npos;
        if (element.empty() || (element != wanted && !any)) return false;
    }
    return true;
}

// Pushes what list tells from its entry next on of path: the value of a parameter, or a table of those below. A name
// that comes again belongs to the path that was asked for next. Returns where the next path's entries begin.
size_t push_values(lua_State *L, const json_t *list, size_t next, const char *path) {
    const json_t *entry = json_array_get(list, next);
    if (strcmp(lua_entry_name(entry), path) == 0) {
        lua_push_json(L, json_object_get(entry, "Value"));
        return next + 1;
    }
    lua_newtable(L);
    for (; (entry = json_array_get(list, next)) && belongs(lua_entry_name(entry), path); next++) {
        const bool is_new = lua_getfield(L, -1, lua_entry_name(entry)) == LUA_TNIL;
        lua_pop(L, 1);
        if (!is_new) break;
        lua_push_json(L, json_object_get(entry, "Value"));
        lua_setfield(L, -2, lua_entry_name(entry));
    }
    return next;
}

// Sends pairs, all or nothing. Returns whether they were set; else the three values of a failure are pushed.
bool set_pairs(lua_State *L, Json pairs) {
    return lua_request(L, Message(rv_jrpcmsg_cmd_set_parameter_values_new(pairs.release())));
}

int set(lua_State *L) {
    Json pairs;
    if (lua_istable(L, 1)) {
        luaL_argcheck(L, lua_isnone(L, 2), 2, "a table has the values in it");
        pairs = lua_to_pairs(L, 1, "");
    } else {
        lua_name_argument(L, 1);
        luaL_checkany(L, 2);
        Json name = lua_json_name_argument(L, 1), value = lua_to_json(L, 2);
        pairs.reset(json_pack("[{s:o, s:o}]", "Name", name.release(), "Value", value.release()));
    }
    if (!set_pairs(L, std::move(pairs))) return 3;
    lua_pushboolean(L, true);
    return 1;
}

// Deletes path; what comes of it is not told.
void delete_silently(lua_State *L, const std::string &path) {
    if (!lua_request(L, Message(rv_jrpcmsg_cmd_delete_object(path.c_str())))) lua_pop(L, 3);
}

int add(lua_State *L) {
    const std::string path = lua_object_argument(L, 1);
    const bool with_values = !lua_isnoneornil(L, 2);
    if (with_values) luaL_checktype(L, 2, LUA_TTABLE);
    if (with_values) lua_to_pairs(L, 2, path);  // what can't be sent is told before anything is added
    const Message message(rv_jrpcmsg_cmd_add_object(path.c_str()));
    const json_t *number = lua_request(L, message, "InstanceNumber");
    if (!number) return 3;
    const std::string instance = path + std::to_string(json_integer_value(number)) + ".";
    if (with_values && !set_pairs(L, lua_to_pairs(L, 2, instance))) {
        delete_silently(L, instance);
        return 3;
    }
    lua_push_json(L, number);
    return 1;
}

int del(lua_State *L) {
    if (!lua_request(L, Message(rv_jrpcmsg_cmd_delete_object(lua_name_argument(L, 1))))) return 3;
    lua_pushboolean(L, true);
    return 1;
}

}  // namespace

int lua_get(lua_State *L) {
    const int count = lua_gettop(L);
    lua_name_argument(L, 1);
    luaL_checkstack(L, count + 8, "too many paths");
    Json names(json_array());
    for (int i = 1; i <= count; i++) json_array_append_new(names.get(), lua_json_name_argument(L, i).release());
    const Message message(rv_jrpcmsg_cmd_get_parameter_values_new(names.release()));
    const json_t *list = lua_request(L, message, "ParameterList");
    if (!list) return 3;
    size_t next = 0;
    for (int i = 1; i <= count; i++) next = push_values(L, list, next, lua_tostring(L, i));
    return count;
}

const luaL_Reg value_functions[] = {{"get", lua_get}, {"set", set}, {"add", add}, {"del", del}, {nullptr, nullptr}};

}  // namespace rv
