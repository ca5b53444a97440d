// Running what is entered in Lua mode, and showing what it returns.
#pragma once

#include "ravc/lua/lua.h"
#include "rv/lua.h"

// The state that statements run in, and what they have returned so far, which they find in the global "_" while they
// run. Plain data; the context is borrowed.
struct LuaSession {
    rv_lua *context = nullptr;
    int results = LUA_NOREF;         // registry reference of the table of results; none before the first statement
    lua_Integer count = 0;           // of results
    bool results_are_shown = false;  // the global "_" is ours
};

// Makes the global "_" the table of results where it is nil; and nil again, whatever a statement has made of it, once
// it was the table of results. The globals table is read and written raw, whatever metatable it has. Print nothing.
void lua_results_show(LuaSession *session);
void lua_results_hide(LuaSession *session);

// Runs the compiled chunk on top of the stack, which it takes, with no arguments. Prints each result as "_[n] = …" to
// standard output and keeps it as "_[n]"; an error, with its trace, to standard error. A result that can't be printed,
// because of a metamethod's error, is told of in the same way and not kept.
// Returns how the chunk, or else its printing, ended: RV_LUA_DONE, also after an error of printing, RV_LUA_FAILED,
// RV_LUA_INTERRUPTED or RV_LUA_EXIT, of which the last two print nothing more.
int lua_run_and_print(LuaSession *session);

// Prints a line in red, where Lua's output is coloured, to standard error.
void lua_print_error(const char *message);
