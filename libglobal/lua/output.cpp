// What scripts print: print, io.write, and the methods of io.stdout, which would go past what is collected.
#include <stdio.h>

#include "libglobal/lua/context.h"
#include "libglobal/lua/interrupt.h"
#include "libglobal/lua/libraries.h"
#include "rv/wait.h"

namespace rv {

namespace {

int print(lua_State *L) {
    rv_lua &context = lua_context(L);
    const int count = lua_gettop(L);
    lua_getglobal(L, "tostring");
    for (int i = 1; i <= count; i++) {
        lua_pushvalue(L, count + 1);
        lua_pushvalue(L, i);
        lua_call(L, 1, 1);
        size_t length = 0;
        const char *text = lua_tolstring(L, -1, &length);
        if (!text) return luaL_error(L, "'tostring' must return a string to 'print'");
        if (i > 1) lua_emit(context, "\t");
        lua_emit(context, {text, length});
        lua_pop(L, 1);
    }
    lua_emit(context, "\n");
    if (!context.own->collecting) lua_show_output(context);
    return 0;
}

// Whether the value at index is this file, open.
bool is_file(lua_State *L, int index, const FILE *file) {
    const auto *stream = static_cast<const luaL_Stream *>(luaL_testudata(L, index, LUA_FILEHANDLE));
    return stream && stream->closef && stream->f == file;
}

// Upvalue 1 is the function that this one stands for. It runs in the present frame, so that its errors name this one.
int call_original(lua_State *L) {
    return lua_tocfunction(L, lua_upvalueindex(1))(L);
}

void emit_arguments(lua_State *L, int first, int last) {
    for (int i = first; i <= last; i++) {
        size_t length = 0;
        const char *text = luaL_checklstring(L, i, &length);
        lua_emit(lua_context(L), {text, length});
    }
}

int file_write(lua_State *L) {
    if (!is_file(L, 1, stdout)) return call_original(L);
    emit_arguments(L, 2, lua_gettop(L));
    lua_settop(L, 1);
    return 1;
}

// flush, seek, setvbuf and close, and waiting for input: what was collected goes first.
int file_control(lua_State *L) {
    if (is_file(L, 1, stdout) || is_file(L, 1, stdin)) lua_show_output(lua_context(L));
    return call_original(L);
}

// io.write: upvalue 1 is what it was, upvalue 2 is io.output.
int io_write(lua_State *L) {
    const int count = lua_gettop(L);
    lua_pushvalue(L, lua_upvalueindex(2));
    lua_call(L, 0, 1);
    if (!is_file(L, -1, stdout)) {
        lua_pop(L, 1);
        return call_original(L);
    }
    emit_arguments(L, 1, count);
    return 1;
}

// What was collected is shown, then Lua's own function does its work: io.flush, io.read, io.lines and the like.
int after_showing(lua_State *L) {
    lua_show_output(lua_context(L));
    return call_original(L);
}

// Puts function in the place of a field of the table on top of the stack, which becomes its upvalue.
void replace(lua_State *L, const char *field, lua_CFunction function) {
    lua_getfield(L, -1, field);
    lua_pushcclosure(L, function, 1);
    lua_setfield(L, -2, field);
}

void redirect_io(lua_State *L) {
    lua_getglobal(L, LUA_IOLIBNAME);
    lua_getfield(L, -1, "write");
    lua_getfield(L, -2, "output");
    lua_pushcclosure(L, io_write, 2);
    lua_setfield(L, -2, "write");
    for (const char *field : {"flush", "close", "read", "lines"}) replace(L, field, after_showing);
    lua_pop(L, 1);
}

void redirect_files(lua_State *L) {
    luaL_getmetatable(L, LUA_FILEHANDLE);
    replace(L, "write", file_write);
    for (const char *field : {"flush", "seek", "setvbuf", "close", "read", "lines"}) replace(L, field, file_control);
    lua_pop(L, 1);
}

}  // namespace

void lua_emit(rv_lua &context, std::string_view text) {
    if (context.own->collecting) {
        context.own->output += text;
        return;
    }
    rv_lua_show(text.data(), text.size());
}

void lua_show_output(rv_lua &context) {
    const SigintBlocked scope;
    std::string &output = context.own->output;
    rv_lua_show(output.data(), output.size());
    output.clear();
    fflush(stdout);
}

void lua_redirect_output(lua_State *L) {
    lua_pushcfunction(L, print);
    lua_setglobal(L, "print");
    redirect_io(L);
    redirect_files(L);
}

}  // namespace rv

// In pieces: a terminal may take its time. The first one comes in any case: the Ctrl-C may be older than this.
void rv_lua_show(const char *text, size_t length) {
    const rv::SigintBlocked scope;
    std::string_view rest(text, length);
    do {
        const std::string_view piece = rest.substr(0, BUFSIZ);
        if (fwrite(piece.data(), 1, piece.size(), stdout) < piece.size()) return;
        rest.remove_prefix(piece.size());
    } while (!rest.empty() && !rv_interrupt_pending());
}
