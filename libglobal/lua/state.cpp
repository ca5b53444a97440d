// Lua contexts: making and closing them, and running what is in them.
#include <new>

#include <string.h>

#include "libglobal/lua/context.h"
#include "libglobal/lua/events.h"
#include "libglobal/lua/interrupt.h"
#include "libglobal/lua/libraries.h"
#include "libglobal/lua/rv_functions.h"

namespace rv {

namespace {

int open_libraries(lua_State *L) {
    luaL_openlibs(L);
    lua_watch_coroutines(L);
    lua_limit_search(L);
    lua_redirect_output(L);
    lua_add_processes(L);
    lua_add_rv(L);
    return 0;
}

int exec_code(int status, Stop reason) {
    if (status == LUA_OK) return RV_LUA_DONE;
    switch (reason) {
        case Stop::interrupted:
            return RV_LUA_INTERRUPTED;
        case Stop::exit:
            return RV_LUA_EXIT;
        default:
            return RV_LUA_FAILED;
    }
}

// Sets the global "arg", and pushes the script's arguments. Returns their number.
int push_arguments(lua_State *L, const char *name, const json_t *arguments) {
    const int count = static_cast<int>(json_array_size(arguments));
    luaL_checkstack(L, count, "too many arguments");
    lua_createtable(L, count, 1);
    const int table = lua_gettop(L);
    if (name) {
        lua_pushstring(L, name);
        lua_rawseti(L, table, 0);
    }
    for (int i = 1; i <= count; i++) {
        const json_t *text = json_array_get(arguments, static_cast<size_t>(i - 1));
        lua_pushlstring(L, json_string_value(text), json_string_length(text));
        lua_pushvalue(L, -1);
        lua_rawseti(L, table, i);
    }
    lua_pushvalue(L, table);
    lua_setglobal(L, "arg");
    lua_remove(L, table);
    return count;
}

struct Chunk {
    const char *text;
    size_t length;
    const char *name;
    const json_t *arguments;
};

int run_chunk(lua_State *L) {
    const auto *chunk = static_cast<const Chunk *>(lua_touserdata(L, 1));
    lua_settop(L, 0);
    const char *name = chunk->name ? lua_pushfstring(L, "@%s", chunk->name) : chunk->text;
    if (luaL_loadbufferx(L, chunk->text, chunk->length, name, "t") != LUA_OK) return lua_error(L);
    const int count = chunk->name || chunk->arguments ? push_arguments(L, chunk->name, chunk->arguments) : 0;
    lua_call(L, count, 0);
    return 0;
}

// What was raised, as a text; the message handler of a chunk.
int error_text(lua_State *L) {
    if (!luaL_callmeta(L, 1, "__tostring") && lua_type(L, 1) != LUA_TSTRING && lua_type(L, 1) != LUA_TNUMBER)
        lua_pushfstring(L, "(error object is a %s value)", luaL_typename(L, 1));
    lua_tostring(L, -1);
    return 1;
}

// The error on top of the stack, which is popped, into what the context tells.
void take_error(rv_lua &context) {
    size_t length = 0;
    const char *text = lua_tolstring(context.state, -1, &length);
    context.own->error = text ? std::string(text, length) : "(no error message)";
    lua_pop(context.state, 1);
}

void lend_texts(rv_lua &context) {
    const rv_lua_own &own = *context.own;
    context.output = {own.output.c_str(), own.output.size()};
    context.error = {own.error.c_str(), own.error.size()};
}

}  // namespace

rv_lua &lua_context(lua_State *L) {
    rv_lua *context;
    memcpy(&context, lua_getextraspace(L), sizeof context);
    return *context;
}

}  // namespace rv

rv_lua *rv_lua_init(int) {
    lua_State *L = luaL_newstate();
    if (!L) return nullptr;
    auto *context = new (std::nothrow) rv_lua{};
    auto *own = new (std::nothrow) rv_lua_own;
    if (!context || !own) {
        lua_close(L);
        delete context;
        delete own;
        return nullptr;
    }
    context->state = L;
    context->own = own;
    memcpy(lua_getextraspace(L), &context, sizeof context);
    rv::lend_texts(*context);
    lua_pushcfunction(L, rv::open_libraries);
    if (lua_pcall(L, 0, 0, 0) == LUA_OK) return context;
    rv_lua_free(context);
    return nullptr;
}

void rv_lua_free(rv_lua *context) {
    if (!context) return;
    rv::Interruptible scope;  // finalizers may wait for the daemon
    lua_close(context->state);
    scope.end();
    rv::lua_leave_all(*context);
    delete context->own;
    delete context;
}

int rv_lua_call(rv_lua *context, int arguments, int results, int handler) {
    const int below = lua_gettop(context->state) - arguments - 1;
    rv::Interruptible scope;
    int status;
    {
        const rv::RunningThread thread(context->state);
        status = lua_pcall(context->state, arguments, results, handler);
    }
    const rv::Stop reason = scope.end();
    if (reason != rv::Stop::none) lua_sethook(context->state, nullptr, 0, 0);
    const int code = rv::exec_code(status, reason);
    if (code == RV_LUA_INTERRUPTED || code == RV_LUA_EXIT) lua_settop(context->state, below);
    return code;
}

int rv_lua_exec(rv_lua *context, const char *text, size_t length, const char *name, const json_t *arguments) {
    lua_State *L = context->state;
    rv_lua_own &own = *context->own;
    own.output.clear();
    own.error.clear();
    own.collecting = true;
    rv::Chunk chunk = {text, length, name, arguments};
    lua_pushcfunction(L, rv::error_text);
    lua_pushcfunction(L, rv::run_chunk);
    lua_pushlightuserdata(L, &chunk);
    const int code = rv_lua_call(context, 1, 0, -3);
    if (code == RV_LUA_FAILED) rv::take_error(*context);
    lua_pop(L, 1);
    own.collecting = false;
    rv::lend_texts(*context);
    return code;
}

int rv_lua_exit_status(const rv_lua *context) {
    return context->own->exit_status;
}

void rv_lua_check(void) {
    rv::lua_raise_if_stopping();
}
