// Lua for programs that talk to the daemon: a Lua 5.3 state with the global table "rv" (docs/lua.md), run so that
// Ctrl-C stops it and nothing that a script does ends the program.
//
// Whoever pushes and pops in the state includes Lua's own headers and is compiled with exceptions, which is what Lua's
// errors are here. Nothing of this is for more than one thread.
#pragma once

#include <jansson.h>
#include <stddef.h>

#include "rv/jrpcapi.h"

#ifdef __cplusplus
extern "C" {
#endif

// A text that is lent by its context until the next call of rv_lua_exec(). Never null, closed by a zero byte.
typedef struct rv_lua_text {
    const char *text;
    size_t length;
} rv_lua_text;

typedef struct rv_lua {
    struct lua_State *state;
    rv_lua_text output;      // what the last rv_lua_exec() printed and has not been shown yet
    rv_lua_text error;       // why it failed, "" when it did not
    rv_jrpcapi *connection;  // for every request; set by the program, borrowed. Null: all that needs it fails
    rv_jrpcapi *events;      // where the session's events arrive; set by the program, borrowed. Null: there are none
    struct rv_lua_own *own;
} rv_lua;

// How a call ended.
enum {
    RV_LUA_DONE = 0,
    RV_LUA_FAILED = 1,
    RV_LUA_INTERRUPTED = 2,  // by Ctrl-C: the program goes on as it does wherever a command is abandoned
    RV_LUA_EXIT = 3          // by os.exit(): the program is to end with rv_lua_exit_status(), in its own good order
};

// A new context: the standard libraries and "rv". Modules are never looked for in the working directory. What scripts
// print goes to standard output, but while rv_lua_exec() runs. flags is 0. Null: out of memory.
rv_lua *rv_lua_init(int flags);
// Closes the state and leaves the event groups that it has joined. Takes null.
void rv_lua_free(rv_lua *context);

// Runs a chunk of source text. What it prints is collected in context->output, and shown early, on standard output,
// only where the script waits for somebody: for input, for an event, for a program that it starts. Its error is in
// context->error. name: the file it is from, null for none. arguments: an array of texts, the script's "arg" and "...";
// null for none. Prints nothing itself. Returns one of the codes above.
int rv_lua_exec(rv_lua *context, const char *text, size_t length, const char *name, const json_t *arguments);

// Calls a function as lua_pcall() does, and with its stack effects for RV_LUA_DONE and RV_LUA_FAILED (which leaves the
// error on the stack); for the others function and arguments are gone and nothing is pushed. handler: stack index of
// the message handler, 0 for none. SIGINT is let in while it runs, and stops it wherever it is: no pcall() in the
// script keeps it. Only a finalizer, and a single long call into the string library, go on to their ends. A SIGINT that
// is ignored stays ignored. Mask and handler are as before afterwards. May be nested.
int rv_lua_call(rv_lua *context, int arguments, int results, int handler);

// Writes a text to standard output: its beginning, and the rest as far as it gets there before Ctrl-C.
void rv_lua_show(const char *text, size_t length);

// For functions that Lua calls and that take long: raises the error that stops the script where it is to stop.
void rv_lua_check(void);

// What os.exit() asked for, after RV_LUA_EXIT.
int rv_lua_exit_status(const rv_lua *context);

#ifdef __cplusplus
}
#endif
