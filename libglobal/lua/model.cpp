// rv.names, rv.attributes, rv.tree, rv.schema, rv.select and rv.each.
#include <string_view>

#include "libglobal/lua/failure.h"
#include "libglobal/lua/request.h"
#include "libglobal/lua/rv_functions.h"
#include "rv/string.h"

namespace rv {

namespace {

int names(lua_State *L) {
    const char *path = lua_name_argument(L, 1);
    const Message message(rv_jrpcmsg_cmd_get_parameter_names(path, !lua_toboolean(L, 2)));
    const json_t *list = lua_request(L, message, "ParameterList");
    if (!list) return 3;
    const Json found(json_array());
    for (size_t i = 0; i < json_array_size(list); i++)
        json_array_append(found.get(), json_object_get(json_array_get(list, i), "Name"));
    lua_push_json(L, found.get());
    return 1;
}

int attributes(lua_State *L) {
    Json path = lua_json_name_argument(L, 1);
    const lua_Integer depth = luaL_optinteger(L, 2, 0);
    luaL_argcheck(L, depth >= -1 && depth <= 1, 2, "a depth is 0, 1 or -1");
    const Message message(
        rv_jrpcmsg_cmd_get_parameter_attributes_new(json_pack("[o]", path.release()), static_cast<int>(depth)));
    const json_t *list = lua_request(L, message, "ParameterList");
    if (!list) return 3;
    lua_newtable(L);
    for (size_t i = 0; i < json_array_size(list); i++) {
        const json_t *entry = json_array_get(list, i);
        lua_push_json(L, json_object_get(entry, "Attributes"));
        lua_setfield(L, -2, lua_entry_name(entry));
    }
    return 1;
}

bool is_instance_number(std::string_view element, int32_t *number) {
    return rv_string_strntol(element.data(), element.size(), 10, number) == 0 && *number > 0;
}

// The branch of a tree at path; an instance that a schema does not have is its template. Null where it ends before.
const json_t *branch(const json_t *tree, std::string_view path) {
    while (tree && !path.empty()) {
        const std::string element(path.substr(0, path.find('.')));
        path.remove_prefix(element.size() < path.size() ? element.size() + 1 : path.size());
        if (element.empty()) continue;
        const json_t *child = json_object_get(tree, element.c_str());
        int32_t number;
        if (!child && is_instance_number(element, &number)) child = json_object_get(tree, "#template");
        tree = child;
    }
    return tree;
}

int push_branch(lua_State *L, const json_t *tree, const char *path) {
    const json_t *found = branch(tree, path);
    if (!found) return lua_push_failure(L, no_such_name, lua_pushfstring(L, "nothing to tell of %s", path));
    lua_push_json(L, found);
    return 1;
}

int tree(lua_State *L) {
    const char *path = lua_name_argument(L, 1);
    const Message message(
        rv_jrpcmsg_create_new("GetConfig", json_pack("{s:o}", "Path", lua_json_name_argument(L, 1).release())));
    const json_t *config = lua_request(L, message, "Config");
    return config ? push_branch(L, config, path) : 3;
}

int schema(lua_State *L) {
    const char *path = lua_name_argument(L, 1);
    const Message message(
        rv_jrpcmsg_cmd_get_datamodel_new(json_pack("[o]", lua_json_name_argument(L, 1).release()), -1));
    const json_t *model = lua_request(L, message, "Datamodel");
    return model ? push_branch(L, model, path) : 3;
}

int select(lua_State *L) {
    const Message message(
        rv_jrpcmsg_create_new("Select", json_pack("{s:o}", "Selector", lua_json_name_argument(L, 1).release())));
    const json_t *selection = lua_request(L, message, "Selection");
    if (!selection) return 3;
    lua_push_json(L, selection);
    return 1;
}

// The iterator of rv.each: upvalue 1 is an array of numbers and names in turn, upvalue 2 the place of the next number.
int next_instance(lua_State *L) {
    const lua_Integer place = lua_tointeger(L, lua_upvalueindex(2));
    lua_pushinteger(L, place + 2);
    lua_replace(L, lua_upvalueindex(2));
    lua_rawgeti(L, lua_upvalueindex(1), place);
    lua_rawgeti(L, lua_upvalueindex(1), place + 1);
    return 2;
}

int each(lua_State *L) {
    const std::string path = lua_object_argument(L, 1);
    const Message message(rv_jrpcmsg_cmd_get_parameter_names(path.c_str(), 1));
    const json_t *list = lua_request(L, message, "ParameterList");
    if (!list) return 3;
    lua_newtable(L);
    lua_Integer count = 0;
    for (size_t i = 0; i < json_array_size(list); i++) {
        const json_t *name = json_object_get(json_array_get(list, i), "Name");
        std::string_view element(json_string_value(name), json_string_length(name));
        element.remove_prefix(std::min(path.size(), element.size()));
        if (element.ends_with('.')) element.remove_suffix(1);
        int32_t number;
        if (!is_instance_number(element, &number)) continue;
        lua_pushinteger(L, number);
        lua_rawseti(L, -2, ++count);
        lua_push_json(L, name);
        lua_rawseti(L, -2, ++count);
    }
    lua_pushinteger(L, 1);
    lua_pushcclosure(L, next_instance, 2);
    return 1;
}

}  // namespace

const luaL_Reg model_functions[] = {{"names", names},   {"attributes", attributes}, {"tree", tree},
                                    {"schema", schema}, {"select", select},         {"each", each},
                                    {nullptr, nullptr}};

}  // namespace rv
