// rv.on and rv.listen, and joining groups. Events that are not the script's stay with the program: they are left on the
// connection, or, where both want them, given back when the context ends.
#include "libglobal/lua/events.h"

#include <algorithm>
#include <limits>

#include <stdlib.h>

#include "libglobal/lua/failure.h"
#include "libglobal/lua/interrupt.h"
#include "libglobal/lua/rv_functions.h"
#include "libglobal/net/identity.h"
#include "libglobal/net/incoming.h"
#include "libglobal/net/message.h"
#include "rv/wait.h"

namespace rv {

namespace {

constexpr int leave_timeout_ms = 1000;

// Pushes the table of group and function.
void push_functions(lua_State *L) {
    static const char key = 0;
    if (lua_rawgetp(L, LUA_REGISTRYINDEX, &key) == LUA_TTABLE) return;
    lua_pop(L, 1);
    lua_newtable(L);
    lua_pushvalue(L, -1);
    lua_rawsetp(L, LUA_REGISTRYINDEX, &key);
}

std::vector<uint32_t> listened_groups(lua_State *L) {
    std::vector<uint32_t> groups;
    push_functions(L);
    for (lua_pushnil(L); lua_next(L, -2); lua_pop(L, 1)) groups.push_back(static_cast<uint32_t>(lua_tointeger(L, -2)));
    lua_pop(L, 1);
    return groups;
}

Message group_request(const char *method, uint32_t group) {
    return Message(rv_jrpcmsg_create_new(method, json_pack("{s:I}", "Group", json_int_t{group})));
}

bool has_script_joined(const rv_lua &context, uint32_t group) {
    const std::vector<uint32_t> &joined = context.own->joined;
    return std::find(joined.begin(), joined.end(), group) != joined.end();
}

// Keeps a copy of an event for the program.
void note_seen(rv_lua &context, const Message &event) {
    const Json json(rv_jrpcmsg_json(event.get()));
    char *text = json_dumps(json.get(), JSON_COMPACT);
    if (text) keep(context.own->seen, text, rv_jrpcmsg_get_event_code(event.get()));
    free(text);
}

// rv.on(group, function): nil for the function takes it back.
int on(lua_State *L) {
    const lua_Integer number = luaL_checkinteger(L, 1);
    luaL_argcheck(L, number >= 1 && number <= std::numeric_limits<uint32_t>::max(), 1, "no event group");
    const auto group = static_cast<uint32_t>(number);
    const bool listening = !lua_isnoneornil(L, 2);
    if (listening) luaL_checktype(L, 2, LUA_TFUNCTION);
    lua_settop(L, 2);
    if (listening && !lua_join(L, group)) return 3;
    push_functions(L);
    lua_insert(L, 2);
    lua_rawseti(L, 2, number);
    if (!listening) lua_leave(lua_context(L), group);
    lua_pushboolean(L, true);
    return 1;
}

// A connection that has been lost is made anew, and the groups joined again, by the next request on it.
bool reopen(lua_State *L, uint32_t group) {
    rv_jrpcapi *events = lua_context(L).events;
    if (rv_socket_fd(rv_jrpcapi_socket(events)) >= 0) return true;
    return lua_request(L, events, group_request(join_method, group));
}

int listen(lua_State *L) {
    const int64_t deadline = lua_deadline_argument(L, 1);
    const std::vector<uint32_t> groups = listened_groups(L);
    rv_jrpcapi *events = lua_context(L).events;
    if (groups.empty()) return luaL_error(L, "no function is there for events: see rv.on");
    lua_show_output(lua_context(L));
    if (!reopen(L, groups.front())) return 3;
    lua_Integer count = 0;
    for (;;) {
        const Message event = lua_next_event(L, listened_groups(L), deadline);
        if (!event) break;
        count++;
        const bool enough = lua_hand_over(L, event);
        lua_show_output(lua_context(L));
        if (enough) break;
    }
    const int err = rv_jrpcapi_get_socket_err(events);
    if (err && err != RV_SOCKET_ERR_TIMEOUT) return lua_push_failure(L, err, rv_socket_strerror(err));
    lua_pushinteger(L, count);
    return 1;
}

}  // namespace

bool lua_has_joined(const rv_lua &context, uint32_t group) {
    return (context.events && has_joined(*context.events, group)) ||
           (context.connection && has_joined(*context.connection, group));
}

bool lua_join(lua_State *L, uint32_t group) {
    rv_lua &context = lua_context(L);
    if (context.events && lua_has_joined(context, group)) return true;
    if (!lua_request(L, context.events, group_request(join_method, group))) return false;
    context.own->joined.push_back(group);
    return true;
}

void lua_leave(rv_lua &context, uint32_t group) {
    if (!has_script_joined(context, group)) return;
    std::erase(context.own->joined, group);
    if (rv_socket_fd(rv_jrpcapi_socket(context.events)) >= 0) {
        const TimeoutScope scope(context.events, leave_timeout_ms);
        rv_jrpcapi_exec(context.events, group_request(leave_method, group).get());
    }
    while (const Message dropped{take_kept_event(*context.events, &group, 1)}) {
    }
}

void lua_leave_all(rv_lua &context) {
    while (!context.own->joined.empty()) lua_leave(context, context.own->joined.back());
    if (context.events && !context.own->seen.lines.empty()) keep_again(*context.events, std::move(context.own->seen));
}

Message lua_next_event(lua_State *L, const std::vector<uint32_t> &groups, int64_t deadline) {
    rv_jrpcapi *events = lua_context(L).events;
    for (;;) {
        const int64_t left = deadline - rv_now_ms();
        const bool endless = left > std::numeric_limits<int>::max();
        const TimeoutScope scope(events, endless ? -1 : static_cast<int>(std::max<int64_t>(left, 0)));
        Message event(rv_jrpcapi_recv_event(events, groups.data(), groups.size()));
        lua_raise_if_stopping();
        if (event || rv_jrpcapi_get_socket_err(events) != RV_SOCKET_ERR_NOTHING) return event;
    }
}

const json_t *lua_event_params(const Message &event) {
    return json_object_get(rv_jrpcmsg_get_params_json(event.get()), "Params");
}

bool lua_hand_over(lua_State *L, const Message &event) {
    rv_lua &context = lua_context(L);
    const uint32_t group = rv_jrpcmsg_get_event_code(event.get());
    if (!has_script_joined(context, group)) note_seen(context, event);
    push_functions(L);
    lua_rawgeti(L, -1, group);
    lua_remove(L, -2);
    if (lua_isnil(L, -1)) {
        lua_pop(L, 1);
        return false;
    }
    const json_t *params = lua_event_params(event);
    if (params) {
        lua_push_json(L, params);
    } else {
        lua_pushnil(L);
    }
    lua_pushinteger(L, group);
    lua_call(L, 2, 1);
    const bool result = lua_toboolean(L, -1);
    lua_pop(L, 1);
    return result;
}

int64_t lua_deadline_argument(lua_State *L, int index) {
    if (lua_isnoneornil(L, index)) return RV_NO_DEADLINE;
    const lua_Number seconds = luaL_checknumber(L, index);
    luaL_argcheck(L, seconds >= 0, index, "seconds are not negative");
    return seconds > 1e12 ? RV_NO_DEADLINE : rv_now_ms() + static_cast<int64_t>(seconds * 1000);
}

const luaL_Reg event_functions[] = {{"on", on}, {"listen", listen}, {nullptr, nullptr}};

}  // namespace rv
