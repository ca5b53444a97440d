// Lua at the prompt: one statement, Lua mode, and Lua mode that is recorded.
#include "rv/lua.h"

#include <signal.h>
#include <stdio.h>
#include <stdio_ext.h>
#include <stdlib.h>
#include <string.h>

#include "ravc/commands/handlers.h"
#include "ravc/daemon/connections.h"
#include "ravc/lua/mode.h"
#include "rv/str_json.h"

namespace {

// Lines are read past stdio: a statement that reads must not take more than it asks for. Where stdio has taken some
// already, it is stdio that commands are read by.
void share_input() {
    if (__fbufsize(stdin) == 0) setvbuf(stdin, nullptr, _IONBF, 0);
}

void show(const rv_lua *context, int code) {
    if (code == RV_LUA_FAILED) {
        printf("LUA ERROR: %s\n", context->error.text);
    } else if (code != RV_LUA_INTERRUPTED) {
        rv_lua_show(context->output.text, context->output.length);
    }
}

// What is left to do about a script that was stopped. The signal is raised again: it ends a program that was to run
// this command alone; the shell, where it stays blocked, uses it up.
void pass_on(int code, int exit_status) {
    if (code == RV_LUA_INTERRUPTED) raise(SIGINT);
    if (code == RV_LUA_EXIT) exit(exit_status);
}

void run_code(const char *code) {
    rv_lua *context = rv_lua_init(0);
    if (!context) {
        puts("LUA ERROR: out of memory");
        return;
    }
    context->connection = requests_connection();
    context->events = events_connection();
    const int end = rv_lua_exec(context, code, strlen(code), nullptr, nullptr);
    show(context, end);
    const int exit_status = rv_lua_exit_status(context);
    rv_lua_free(context);
    pass_on(end, exit_status);
}

}  // namespace

int process_lua(const char *, json_t *args) {
    share_input();
    if (json_array_size(args) == 0) return lua_mode();
    char *words = rv_str_json_join(args, " ");
    json_auto_t *code = json_sprintf("%s ", words);  // each word has its blank, the last one too
    free(words);
    puts(json_string_value(code));
    fflush(stdout);
    run_code(json_string_value(code));
    return 0;
}

int process_luarecord(const char *name, json_t *args) {
    share_input();
    return process_record(name, args) < 0 ? -1 : lua_mode();  // also after "abort": intended
}
