// Running statements. Whatever may raise an error runs in a protected call; SIGINT is let in by rv_lua_call() alone, so
// that printing is never cut in two.
#include "ravc/lua/run.h"

#include <stdio.h>
#include <string.h>

#include "ravc/lua/colors.h"
#include "ravc/lua/traceback.h"
#include "ravc/lua/value_print.h"

namespace {

constexpr int line_width = 80;

const char *color(const char *escape) {
    return lua_colored() ? escape : "";
}

LuaSession *session_at(lua_State *L, int index) {
    return static_cast<LuaSession *>(lua_touserdata(L, index));
}

// Pushes the table of results: a new one before the first statement, and where a script has taken it out of the
// registry.
void push_results(lua_State *L, LuaSession *session) {
    if (lua_rawgeti(L, LUA_REGISTRYINDEX, session->results) == LUA_TTABLE) return;
    lua_pop(L, 1);
    lua_newtable(L);
    lua_pushvalue(L, -1);
    session->results = luaL_ref(L, LUA_REGISTRYINDEX);
}

// Pushes the globals table, and the value of "_" in it.
int push_shown(lua_State *L) {
    lua_pushglobaltable(L);
    luaL_checktype(L, -1, LUA_TTABLE);
    lua_pushliteral(L, "_");
    return lua_rawget(L, -2);
}

// Sets "_" to the value on top of the stack, in the globals table below another value.
void set_shown(lua_State *L) {
    lua_pushliteral(L, "_");
    lua_insert(L, -2);
    lua_rawset(L, -4);
}

int show(lua_State *L) {
    LuaSession *session = session_at(L, 1);
    push_results(L, session);
    if (push_shown(L) != LUA_TNIL) return 0;
    lua_pushvalue(L, -3);
    set_shown(L);
    session->results_are_shown = true;
    return 0;
}

int hide(lua_State *L) {
    push_shown(L);
    lua_pushnil(L);
    set_shown(L);
    return 0;
}

// Where this fails, for want of memory, there is no "_": the statement goes without.
void call_protected(lua_State *L, lua_CFunction function, LuaSession *session) {
    lua_pushcfunction(L, function);
    lua_pushlightuserdata(L, session);
    if (lua_pcall(L, 1, 0, 0) != LUA_OK) lua_pop(L, 1);
}

// Arguments: the session, a result. Brings the printer's text up to date and keeps the result.
int format_result(lua_State *L) {
    LuaSession *session = session_at(L, 1);
    lua_print_begin(L, line_width);
    lua_value_print(L, 2);
    push_results(L, session);
    lua_pushvalue(L, 2);
    lua_rawseti(L, -2, session->count + 1);
    session->count++;
    return 0;
}

// The text that was raised, on top of the stack, which is popped.
void print_raised(lua_State *L) {
    const char *message = lua_tostring(L, -1);
    lua_print_error(message ? message : "(no error message)");
    lua_pop(L, 1);
}

// As a C text: it ends at a zero byte, which only a text in long brackets may hold.
void print_formatted(lua_Integer number) {
    printf("%s_[%lld]%s = ", color("\033[1;32m"), static_cast<long long>(number), color("\033[0;32m"));
    rv_lua_show(lua_printed().c_str(), strlen(lua_printed().c_str()));
    printf("%s\n", color("\033[0m"));
    fflush(stdout);
}

// Lets a Ctrl-C in that came during printing.
int check(lua_State *) {
    rv_lua_check();
    return 0;
}

// The result at index. handler: stack index. Returns as lua_run_and_print().
int print_result(LuaSession *session, int index, int handler) {
    lua_State *L = session->context->state;
    if (!lua_checkstack(L, 3)) {
        lua_print_error("too many results to print");
        return RV_LUA_FAILED;
    }
    lua_pushcfunction(L, format_result);
    lua_pushlightuserdata(L, session);
    lua_pushvalue(L, index);
    const bool was_colored = lua_set_colored(false);
    int code = rv_lua_call(session->context, 2, 0, handler);
    lua_print_end(L);
    lua_set_colored(was_colored);
    if (code == RV_LUA_FAILED) print_raised(L);
    if (code != RV_LUA_DONE) return code;
    print_formatted(session->count);
    lua_pushcfunction(L, check);
    return rv_lua_call(session->context, 0, 0, handler);
}

// The values above the handler. Returns as lua_run_and_print().
int print_results(LuaSession *session, int handler) {
    const int last = lua_gettop(session->context->state);
    for (int i = handler + 1; i <= last; ++i) {
        const int code = print_result(session, i, handler);
        if (code != RV_LUA_DONE && code != RV_LUA_FAILED) return code;
    }
    return RV_LUA_DONE;
}

}  // namespace

void lua_results_show(LuaSession *session) {
    call_protected(session->context->state, show, session);
}

void lua_results_hide(LuaSession *session) {
    if (session->results_are_shown) call_protected(session->context->state, hide, session);
}

int lua_run_and_print(LuaSession *session) {
    lua_State *L = session->context->state;
    const int handler = lua_gettop(L);
    lua_pushcfunction(L, lua_traceback_handler);
    lua_insert(L, handler);
    int code = rv_lua_call(session->context, 0, LUA_MULTRET, handler);
    if (code == RV_LUA_FAILED) print_raised(L);
    if (code == RV_LUA_DONE) code = print_results(session, handler);
    lua_settop(L, handler - 1);
    return code;
}

void lua_print_error(const char *message) {
    fflush(stdout);
    fprintf(stderr, "%s%s%s\n", color("\033[0;31m"), message, color("\033[0m"));
    fflush(stderr);
}
