// The shell's loop: it waits for keys and for events at once, and runs the lines that are entered.
#include "ravc/shell/loop.h"

#include <ctype.h>
#include <errno.h>
#include <jansson.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "ravc/cache/instance_events.h"
#include "ravc/cache/node_cache.h"
#include "ravc/cdpath.h"
#include "ravc/commands.h"
#include "ravc/commands/split_line.h"
#include "ravc/daemon/connections.h"
#include "ravc/daemon/request.h"
#include "ravc/main/session.h"
#include "ravc/shell/events.h"
#include "ravc/shell/history.h"
#include "ravc/shell/interrupt.h"
#include "ravc/shell/prompt.h"
#include "ravc/shell/record.h"
#include "rv/history.h"
#include "rv/rl.h"
#include "rv/wait.h"

bool running = true;

namespace {

enum { KEYS, EVENTS };  // of the poll set
enum { IDLE, EDITING };

struct Editor {
    rv_rl_async *handle;
    int32_t state;
};

struct Command {
    const char *name;  // null for a line without words, which is "(null): command not found.": intended
    json_t *args;
};

void greet() {
    puts("Corvane Management System client.");
    puts(
        "***\nWARNING - for experts only!\n"
        "This tool is not intended to use by users 'cause it can cause harm to the device!\n***");
    puts("Interactive mode. \nEnter 'help' or '?' for help, 'q' for exit.");  // the blank: intended
}

// Returns 0, or -1 when the daemon could not be asked.
int fetch_tree() {
    node_cache_rebuild();
    prompt_update();
    return rv_jrpcapi_get_socket_err(requests_connection()) == 0 ? 0 : -1;
}

void go_to_root() {
    cdpath_reset(&current_path);
    json_auto_t *no_words = json_array();
    dispatch_by_name("cd", no_words);
}

// Words that are not UTF-8 are left out without notice: intended.
json_t *words_of(const char *line) {
    constexpr char lua[] = "lua ";
    if (strncmp(line, lua, strlen(lua)) != 0) return split_line(line, -1, nullptr);
    json_t *words = json_pack("[s]", "lua");
    json_array_append_new(words, json_string(line + strlen(lua)));
    return words;
}

void run(void *context) {
    const auto *command = static_cast<const Command *>(context);
    dispatch_by_name(command->name, command->args);
}

// What an abandoned command may have left changed.
void mend_after_jump() {
    rv_rl_echo_on(STDIN_FILENO);
    mend_abandoned_request();
    prompt_update();
}

// The frames of the command end at run_command(): what belongs to it is held here, where a jump arrives.
void run_line(const char *line) {
    json_auto_t *args = words_of(line);
    if (!isspace(static_cast<unsigned char>(*line))) rv_history_add(line);
    fflush(stdout);
    // Every line counts, also one that is not remembered: intended.
    if (recording()) record_count_line();
    json_auto_t *name = json_incref(json_array_get(args, 0));
    json_array_remove(args, 0);
    Command command = {json_string_value(name), args};
    if (!run_command(run, &command)) mend_after_jump();
    rv_rl_begin_row();  // keys that were echoed, Ctrl-C among them, leave the cursor in the middle of a row
}

// Returns false when the line ends the shell.
bool take_line(const char *line) {
    if (!*line) return true;
    if (strcmp(line, "q") != 0 && strcmp(line, "quit") != 0) {
        run_line(line);
        return true;
    }
    if (!recording()) return false;
    record_finish();
    return true;
}

// Ctrl-C at the prompt.
void drop_line(Editor *editor) {
    rv_rl_async_park(editor->handle);
    puts("^C");
    rv_rl_async_clear(editor->handle);
    rv_rl_async_restore(editor->handle);
    editor->state = IDLE;
}

void draw(Editor *editor) {
    if (editor->state != EDITING) {
        rv_rl_async_prepare(editor->handle, prompt_text());
    } else {
        rv_rl_async_resized(editor->handle);
    }
}

// Returns false at the end of input.
bool take_key(Editor *editor) {
    const int key = rv_rl_getch();
    if (key < 0 && interrupt_taken()) {  // no end of input, but another reader was faster
        drop_line(editor);
        return true;
    }
    char *line = rv_rl_async_feed(editor->handle, key, &editor->state);
    if (!line && rv_rl_ctrl_d_is_pressed()) return false;
    if (editor->state == EDITING) return true;
    rv_rl_async_restore(editor->handle);
    const bool go_on = !line || take_line(line);
    free(line);
    return go_on;
}

// Returns false when the connection has ended.
bool take_events(Editor *editor) {
    if (events_receive(editor->handle) == 0) return true;
    running = false;
    rv_rl_async_restore(editor->handle);
    puts("Connection dropped");
    return false;
}

// One round. Returns false to leave the shell.
bool take_turn(Editor *editor) {
    interrupt_idle();
    if (interrupt_taken()) drop_line(editor);
    draw(editor);
    fflush(stdout);
    pollfd set[] = {{STDIN_FILENO, POLLIN, 0}, {rv_socket_fd(rv_jrpcapi_socket(events_connection())), POLLIN, 0}};
    // What has been read already, poll() does not tell: there is no sleeping over it.
    const bool pending = rv_jrpcapi_pending(events_connection());
    if (rv_wait(set, 2, pending ? rv_now_ms() : RV_NO_DEADLINE) < 0) {
        if (errno == EINTR) return true;
        printf("Error poll(): %s\n", strerror(errno));
        return false;
    }
    // A hang-up counts as readable: reading tells what there is to tell.
    if ((pending || set[EVENTS].revents) && !take_events(editor)) return false;
    return !set[KEYS].revents || take_key(editor);
}

bool holds_lines;  // a history, and perhaps a recording, that is to be written

// Also when a command ends the process.
void write_lines() {
    if (!holds_lines) return;
    holds_lines = false;
    record_finish();
    shell_history_close();
}

void leave(rv_rl_async *editor) {
    rv_rl_async_restore(editor);
    write_lines();
    instance_events_clear();
    cdpath_release(&current_path);
    cdpath_release(&previous_path);
    node_cache_release();
    rv_rl_async_free(editor);
}

}  // namespace

int interactive_loop() {
    greet();
    try_login();
    if (fetch_tree() < 0) {
        puts("Error connecting to RAVD server");
        return -1;
    }
    interrupt_init();
    shell_history_open();
    holds_lines = true;
    atexit(write_lines);
    go_to_root();
    events_init();
    Editor editor = {rv_rl_async_new(), IDLE};
    while (running && !interrupt_ending() && take_turn(&editor)) {
    }
    leave(editor.handle);
    return 0;
}
