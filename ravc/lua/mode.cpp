// Lua mode. No jump crosses anything here: Ctrl-C is noted while a line is read, and stops the script while one runs.
#include "ravc/lua/mode.h"

#include <string>
#include <string_view>

#include <ctype.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "ravc/daemon/connections.h"
#include "ravc/lua/complete.h"
#include "ravc/lua/preload.h"
#include "ravc/lua/run.h"
#include "ravc/shell/history.h"
#include "ravc/shell/interrupt.h"
#include "ravc/shell/loop.h"
#include "ravc/shell/prompt.h"
#include "ravc/shell/record.h"
#include "rv/history.h"
#include "rv/rl.h"
#include "rv/wait.h"

namespace {

constexpr char history_path[] = "/tmp/.ravc.lua.hist";
constexpr char chunk_name[] = "stdin";

struct Mode {
    rv_rl_async *editor = nullptr;
    LuaSession session;
    bool is_pending = false;  // a statement is incomplete
    std::string statement;    // its lines so far
    bool is_left = false;
    bool ends_program = false;
    int exit_status = 0;  // then
};

enum class Compiled { ready, incomplete, failed };

int load(lua_State *L, const std::string &code) {
    return luaL_loadbufferx(L, code.data(), code.size(), chunk_name, "t");
}

bool is_incomplete(int status, std::string_view message) {
    return status == LUA_ERRSYNTAX && message.size() > 5 && message.ends_with("<eof>");
}

// Leaves the chunk, where it is ready, on the stack: of an expression, one that returns its values. Prints why it
// failed.
Compiled compile(lua_State *L, const std::string &code) {
    if (load(L, "return " + code) == LUA_OK) return Compiled::ready;
    lua_pop(L, 1);
    const int status = load(L, code);
    if (status == LUA_OK) return Compiled::ready;
    const bool incomplete = is_incomplete(status, lua_tostring(L, -1));
    if (!incomplete) lua_print_error(lua_tostring(L, -1));
    lua_pop(L, 1);
    return incomplete ? Compiled::incomplete : Compiled::failed;
}

void begin_line(Mode *mode) {
    rv_rl_async_prepare(mode->editor, mode->is_pending ? "> " : prompt_text());
    fflush(stdout);
}

// Ctrl-C at the prompt. What is pending goes with the line.
void drop_line(Mode *mode) {
    rv_rl_async_park(mode->editor);
    puts("^C");
    rv_rl_async_clear(mode->editor);
    rv_rl_async_restore(mode->editor);
    mode->is_pending = false;
    prompt_update();
    begin_line(mode);
}

// Waits for a key, the end of input, or a signal. Returns a finished line, else null; *state as the editor has it.
char *take_key(Mode *mode, int32_t *state) {
    rv_rl_async_resized(mode->editor);
    pollfd keys = {.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
    if (rv_wait(&keys, 1, RV_NO_DEADLINE) < 0 && errno == EINTR) return nullptr;
    errno = 0;
    const int key = rv_rl_getch();
    return key < 0 && errno == EINTR ? nullptr : rv_rl_async_feed(mode->editor, key, state);
}

// The line that is entered (new), or null at the end of input and where a signal asks for an end.
char *read_line(Mode *mode) {
    char *line = nullptr;
    begin_line(mode);
    for (int32_t state = 1; state == 1 && !interrupt_ending();) {
        if (interrupt_taken()) drop_line(mode);
        line = take_key(mode, &state);
    }
    rv_rl_async_restore(mode->editor);
    return line;
}

// What is done with a statement that was abandoned.
void drop_statement(Mode *mode) {
    mode->is_pending = false;
    prompt_update();
    putchar('\n');
}

void finish_statement(Mode *mode, bool is_compiled) {
    mode->is_pending = false;
    prompt_set_mode(is_compiled ? "lua" : "lua(fail)");
    if (isspace(static_cast<unsigned char>(mode->statement[0]))) return;
    rv_history_add(mode->statement.c_str());
    record_count_line();
}

// Leaves the mode, and after that the program, with the status that os.exit() was given.
void end_program(Mode *mode) {
    mode->is_left = mode->ends_program = true;
    mode->exit_status = rv_lua_exit_status(mode->session.context);
}

void run_statement(Mode *mode) {
    lua_results_show(&mode->session);
    const Compiled compiled = compile(mode->session.context->state, mode->statement);
    const int code = compiled == Compiled::ready ? lua_run_and_print(&mode->session) : RV_LUA_DONE;
    lua_results_hide(&mode->session);
    if (code == RV_LUA_INTERRUPTED) return drop_statement(mode);
    if (code == RV_LUA_EXIT) end_program(mode);
    mode->is_pending = compiled == Compiled::incomplete;
    if (!mode->is_pending) finish_statement(mode, compiled == Compiled::ready);
    rv_rl_begin_row();
}

void take_line(Mode *mode, const char *line) {
    if (!*line) return;
    if (mode->is_pending) {
        mode->statement += std::string("\n") + line;
    } else if (strcmp(line, "q") == 0 || strcmp(line, "quit") == 0) {
        mode->is_left = true;
        return;
    } else {
        mode->statement = line;
    }
    fflush(stdout);
    run_statement(mode);
}

void read_statements(Mode *mode) {
    while (running && !mode->is_left) {
        char *line = read_line(mode);
        if (!line) return;
        take_line(mode, line);
        free(line);
    }
}

void open_editor(Mode *mode) {
    mode->editor = rv_rl_async_new();
    rv_history_clear();
    rv_history_load(history_path);
    rv_rl_case_insensitive(0);
    rv_rl_set_word_delimiters(lua_word_delimiters);
    rv_rl_set_autocomplete_cb(lua_complete_line);
    lua_complete_use(mode->session.context);
}

void close_editor(Mode *mode) {
    rv_rl_set_autocomplete_cb(nullptr);
    rv_rl_set_word_delimiters(nullptr);
    rv_rl_async_free(mode->editor);
    record_finish();
    rv_history_dump(history_path, -1);
    rv_history_clear();
}

void run_mode_in(Mode *mode) {
    const InterruptNoted scope;
    prompt_set_mode("lua");
    open_editor(mode);
    const int code = lua_preload_modules(mode->session.context);
    if (code == RV_LUA_EXIT) end_program(mode);
    read_statements(mode);
    lua_complete_use(nullptr);
    rv_lua_free(mode->session.context);
    close_editor(mode);
    prompt_set_mode(nullptr);
}

}  // namespace

int lua_mode() {
    Mode mode;
    rv_lua *context = rv_lua_init(0);
    if (!context) {
        fputs("lua: out of memory.\n", stderr);
        return 0;
    }
    context->connection = requests_connection();
    context->events = events_connection();
    mode.session.context = context;
    const bool in_shell = shell_history_close();
    run_mode_in(&mode);
    if (in_shell) shell_history_open();
    if (mode.ends_program) exit(mode.exit_status);
    return 0;
}
