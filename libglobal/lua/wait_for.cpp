// rv.wait: until a value is as wanted. Events tell of what is configured; what the machine tells itself has no events,
// so the value is read again every now and then, too.
#include <algorithm>

#include <string.h>

#include "libglobal/lua/events.h"
#include "libglobal/lua/failure.h"
#include "libglobal/lua/interrupt.h"
#include "libglobal/lua/rv_functions.h"
#include "rv/wait.h"

namespace rv {

namespace {

constexpr int64_t poll_ms = 250;
constexpr uint32_t value_changed = 1;  // the event group

// The arguments and what follows on the stack.
enum { PATH = 1, WANTED, SECONDS };

// Pushes what rv.get gives for the path: one value, or the three of a failure, and false is returned.
bool read_value(lua_State *L) {
    const int below = lua_gettop(L);
    lua_pushvalue(L, lua_upvalueindex(1));
    lua_pushvalue(L, PATH);
    lua_call(L, 1, LUA_MULTRET);
    return lua_gettop(L) == below + 1;
}

// Whether the value on top of the stack is as wanted.
bool is_as_wanted(lua_State *L) {
    if (!lua_isfunction(L, WANTED)) return lua_compare(L, WANTED, -1, LUA_OPEQ);
    lua_pushvalue(L, WANTED);
    lua_pushvalue(L, -2);
    lua_call(L, 1, 1);
    const bool is = lua_toboolean(L, -1);
    lua_pop(L, 1);
    return is;
}

// Pushes the value that an event tells of the path itself. Returns false where it tells of something else.
bool push_told(lua_State *L, const Message &event) {
    const json_t *params = lua_event_params(event);
    const char *path = json_string_value(json_object_get(params, "Path"));
    const json_t *value = json_object_get(params, "Value");
    if (!path || !value || strcmp(path, lua_tostring(L, PATH)) != 0) return false;
    lua_push_json(L, value);
    return true;
}

// Waits for an event or until it is time to look again. Returns true with the value pushed that was told.
bool pause(lua_State *L, int64_t until) {
    const rv_lua &context = lua_context(L);
    if (context.events && lua_has_joined(context, value_changed)) {
        const Message event = lua_next_event(L, {value_changed}, until);
        if (event) lua_hand_over(L, event);
        if (event && push_told(L, event)) return true;
        if (event || rv_now_ms() >= until) return false;
    }
    rv_sleep_ms(static_cast<int>(std::max<int64_t>(until - rv_now_ms(), 0)));
    lua_raise_if_stopping();
    return false;
}

// The wait itself, called as rv.wait is. Its time begins with the first look.
int wait_inside(lua_State *L) {
    const int64_t deadline = lua_deadline_argument(L, SECONDS);
    lua_settop(L, SECONDS);
    for (int looks = 0;; looks++) {
        if (!read_value(L)) return 3;
        if (is_as_wanted(L)) return 1;
        lua_settop(L, SECONDS);
        if (looks == 0) {
            if (lua_context(L).events && !lua_join(L, value_changed)) lua_settop(L, SECONDS);
            continue;
        }
        if (rv_now_ms() >= deadline)
            return lua_push_failure(L, RV_SOCKET_ERR_TIMEOUT, rv_socket_strerror(RV_SOCKET_ERR_TIMEOUT));
        if (pause(L, std::min(deadline, rv_now_ms() + poll_ms)) && is_as_wanted(L)) return 1;
        lua_settop(L, SECONDS);
    }
}

// Joins group 1 for as long as it waits, however it ends.
int wait(lua_State *L) {
    lua_name_argument(L, PATH);
    luaL_checkany(L, WANTED);
    luaL_argcheck(L, !lua_isnil(L, WANTED) && !lua_istable(L, WANTED), WANTED, "a function or a plain value");
    lua_deadline_argument(L, SECONDS);
    lua_settop(L, SECONDS);
    lua_show_output(lua_context(L));
    const bool joined = lua_has_joined(lua_context(L), value_changed);
    lua_pushcfunction(L, lua_get);
    lua_pushcclosure(L, wait_inside, 1);
    lua_insert(L, 1);
    const int status = lua_pcall(L, SECONDS, LUA_MULTRET, 0);
    if (!joined) lua_leave(lua_context(L), value_changed);
    lua_raise_if_stopping();
    return status == LUA_OK ? lua_gettop(L) : lua_error(L);
}

}  // namespace

const luaL_Reg wait_functions[] = {{"wait", wait}, {nullptr, nullptr}};

}  // namespace rv
