// The editor of lines: keys go in, lines come out. This is its outside; readline is behind engine.h, what is seen
// behind draw.h, the terminal's modes behind modes.h.
#include <string>
#include <string_view>

#include <readline/readline.h>
#include <stdio.h>
#include <stdlib.h>

#include "libglobal/term/bindings.h"
#include "libglobal/term/columns.h"
#include "libglobal/term/draw.h"
#include "libglobal/term/engine.h"
#include "libglobal/term/input.h"
#include "libglobal/term/keys.h"
#include "libglobal/term/line_reader.h"
#include "libglobal/term/modes.h"
#include "libglobal/term/settings.h"
#include "libglobal/term/tab.h"
#include "libglobal/term/text.h"
#include "rv/rl.h"
#include "rv/wait.h"

struct rv_rl_async {
    rv::LineReader reader;  // where nothing is drawn
    rv::Keys keys;
    bool is_question = false;  // of rv_rl(): an answer is no command
    bool is_active = false;    // readline has this line
    bool is_shown = false;     // and it is on the screen
    bool is_finished = false;  // readline has given it back:
    char *line = nullptr;      // null for Ctrl-D
    bool in_paste = false;
    bool was_completion = false;  // what the last key asked for
};

namespace {

constexpr std::string_view paste_begins = "\033[200~";
constexpr std::string_view paste_ends = "\033[201~";
// How long the rest of a sequence may take after its Escape, where Escape is a key too: a slow line's next byte.
constexpr int escape_patience_ms = 50;

rv_rl_async *active;  // readline has one line at a time
bool ctrl_d;

// readline gives the line back.
void on_line(char *line) {
    rl_callback_handler_remove();
    active->line = line;
    active->is_finished = true;
    active->is_active = false;
    active = nullptr;
}

void begin(rv_rl_async *e) {
    active = e;
    e->is_active = true;
    e->is_finished = false;
    rv::engine_begin(on_line);
}

void drop(rv_rl_async *e) {
    if (e->is_active) rv::engine_drop();
    rv::draw_nothing();
    free(e->line);
    e->line = nullptr;
    e->is_finished = e->is_shown = false;
}

void hide(rv_rl_async *e) {
    if (!e->is_active || !e->is_shown) return;
    rv::draw_hide();
    e->is_shown = false;
}

// A line that nobody finishes stays where it is on the screen.
void abandon(rv_rl_async *e) {
    const bool was_shown = e->is_shown;
    rv_rl_async_park(e);
    if (was_shown) fputs("\n", stdout);
    rv_rl_async_clear(e);
}

// What is pasted is text, and line by line a command: no key in it does anything else.
std::string pasted(const std::string &key) {
    if (key == "\t") return " ";
    const bool is_line_end = key == "\r" || key == "\n";
    return is_line_end || !rv::has_control(key) ? key : "";
}

void apply(rv_rl_async *e, std::string key) {
    if (key == paste_begins || key == paste_ends) {
        e->in_paste = key == paste_begins;
        return;
    }
    if (e->in_paste) key = pasted(key);
    if (key.empty()) return;
    rv::engine_take(key);
    const bool is_completion = rv::bindings_completion_asked();
    if (is_completion && e->is_active) rv::tab_pressed(e->was_completion);
    e->was_completion = is_completion;
}

// Where Escape is a key of its own, nothing tells it from the beginning of a sequence but what follows.
bool is_lone_escape(const rv_rl_async *e) {
    return e->keys.is_escape() && rv::engine_acts_on_escape() &&
           rv::input_wait(rv_deadline(escape_patience_ms), false) == rv::Input::timeout;
}

// What a signal during a callback's wait asked for: the caller's next wait will not end because of it.
void redraw_if_signalled(rv_rl_async *e) {
    static int seen;
    if (rv::modes_signals() == seen) return;
    seen = rv::modes_signals();
    rv_rl_async_resized(e);
}

char *finish(rv_rl_async *e, int32_t *state) {
    *state = 0;
    char *line = e->line;
    if (!line && !ctrl_d) fputs("\n", stdout);
    ctrl_d = !line;
    e->line = nullptr;
    e->is_finished = e->is_shown = e->was_completion = false;
    return line;
}

}  // namespace

rv_rl_async *rv_rl_async_new(void) {
    return new rv_rl_async;
}

void rv_rl_async_free(rv_rl_async *e) {
    if (!e) return;
    rv_rl_async_clear(e);
    rv_rl_async_restore(e);
    delete e;
}

void rv_rl_async_prepare(rv_rl_async *e, const char *prompt) {
    if (!rv::input_is_drawn()) return;
    rv::engine_start();
    rv::editor_settings().is_question = e->is_question;
    if (active && active != e) abandon(active);
    hide(e);
    fflush(stdout);
    rv::modes_keys(!rv::draw_is_plain());
    rv::draw_set_prompt(prompt);
    if (!e->is_active) begin(e);
    rv::draw_anew();
    e->is_shown = true;
}

void rv_rl_async_restore(rv_rl_async *e) {
    hide(e);
    fflush(stdout);
    rv::modes_restore();
}

void rv_rl_async_clear(rv_rl_async *e) {
    e->reader.clear();
    e->keys.take();
    e->in_paste = e->was_completion = false;
    drop(e);
}

void rv_rl_async_park(rv_rl_async *e) {
    if (!e->is_active || !e->is_shown) return;
    rv::draw_park();
    e->is_shown = false;
}

int rv_rl_async_resized(rv_rl_async *e) {
    return e->is_active && rv::draw_resized(e->is_shown) && e->is_shown;
}

char *rv_rl_async_feed(rv_rl_async *e, int key, int32_t *state) {
    ctrl_d = false;
    *state = 1;
    if (!e->is_active) {
        char *line = e->reader.add(key, &ctrl_d);
        if (line || ctrl_d) *state = 0;
        return line;
    }
    if (key < 0) {  // the terminal has gone: half a line is not what its user wanted to run
        ctrl_d = true;
        rv_rl_async_clear(e);
        *state = 0;
        return nullptr;
    }
    std::string whole = e->keys.add(static_cast<unsigned char>(key));
    if (is_lone_escape(e)) whole = e->keys.take();
    if (!whole.empty()) apply(e, whole);
    if (e->is_finished) return finish(e, state);
    rv::draw_changes();
    redraw_if_signalled(e);
    return nullptr;
}

int rv_rl_ctrl_d_is_pressed(void) {
    return ctrl_d;
}

void rv_rl_show_below(const char *text) {
    if (active && active->is_shown) {
        rv::draw_below(text);
    } else {
        printf("\n%s", text);
    }
}

// As many blanks as a row has columns reach the next row exactly when the cursor is not at the begin of one.
void rv_rl_begin_row(void) {
    if (rv::input_is_drawn()) printf("%*s\r", rv::terminal_size().columns, "");
}

// A SIGINT whose handler returns is a key that drops the line.
char *rv_rl(const char *prompt, int timeout_ms) {
    static rv_rl_async *const e = rv_rl_async_new();
    e->is_question = true;
    if (e->is_active) abandon(e);
    rv_rl_async_prepare(e, prompt);
    char *line = nullptr;
    for (int32_t state = 1; state == 1;) {
        switch (rv::input_wait(rv_deadline(timeout_ms), true)) {
            case rv::Input::ready:
                line = rv_rl_async_feed(e, rv_rl_getch(), &state);
                break;
            case rv::Input::failed:
                line = rv_rl_async_feed(e, -1, &state);
                break;
            case rv::Input::redraw:
                rv_rl_async_resized(e);
                break;
            case rv::Input::interrupted:
                rv_rl_async_park(e);
                fputs("^C\n", stdout);
                rv_rl_async_clear(e);
                rv_rl_async_prepare(e, prompt);
                break;
            case rv::Input::timeout:
                abandon(e);
                state = 0;
                break;
        }
    }
    rv_rl_async_restore(e);
    return line;
}
