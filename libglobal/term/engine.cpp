// readline in its callback form. It never reads: it is given a queue, and only while there is something in it.
#include "libglobal/term/engine.h"

#include <string>

#include <readline/readline.h>
#include <stdio.h>
#include <stdlib.h>

#include "libglobal/term/bindings.h"
#include "libglobal/term/draw.h"
#include "libglobal/term/text.h"

namespace {

constexpr int abort_key = 7;  // Ctrl-G
constexpr int vi_mode = 0;    // of rl_editing_mode

std::string &queue() {
    static std::string *const only = new std::string;
    return *only;
}

// A command that wants more than its key is told to give up; the end of input would end the session.
int next_byte(FILE *) {
    if (queue().empty()) return abort_key;
    const int byte = static_cast<unsigned char>(queue()[0]);
    queue().erase(0, 1);
    return byte;
}

int has_byte() {
    return !queue().empty();
}

void leave_modes_alone(int) {}
void leave_modes_alone() {}

// A variable of the environment that holds while this does.
class ScopedVariable {
 public:
    ScopedVariable(const char *name, const char *value) : name_(name) {
        const char *before = getenv(name);
        if (before) before_ = before;
        was_set_ = before != nullptr;
        setenv(name, value, 1);
    }
    ~ScopedVariable() {
        if (was_set_) {
            setenv(name_, before_.c_str(), 1);
        } else {
            unsetenv(name_);
        }
    }
    ScopedVariable(const ScopedVariable &) = delete;
    ScopedVariable &operator=(const ScopedVariable &) = delete;

 private:
    const char *name_;
    std::string before_;
    bool was_set_ = false;
};

// What readline would read keys or signals for, or draw, by itself.
void set_variables() {
    rl_variable_bind("enable-bracketed-paste", "off");
    rl_variable_bind("convert-meta", "off");
    rl_variable_bind("input-meta", "on");
    rl_variable_bind("output-meta", "on");
    rl_variable_bind("page-completions", "off");
    rl_variable_bind("revert-all-at-newline", "on");
    rl_variable_bind("blink-matching-paren", "off");
    rl_variable_bind("enable-active-region", "on");  // the hint's colour
    rl_completion_query_items = -1;
}

void initialize() {
    rl_readline_name = "ravc";
    rl_catch_signals = 0;
    rl_catch_sigwinch = 0;
    rl_change_environment = 0;
    rl_getc_function = next_byte;
    rl_input_available_hook = has_byte;
    rl_prep_term_function = leave_modes_alone;
    rl_deprep_term_function = leave_modes_alone;
    rl_instream = stdin;
    rl_outstream = stdout;
    const ScopedVariable no_file("INPUTRC", "/dev/null");  // the user's comes behind our own bindings
    const ScopedVariable locale("LC_ALL", rv::text_locale);
    rl_initialize();
    rl_tty_set_echoing(1);
}

}  // namespace

void rv::engine_start() {
    static bool is_started = false;
    if (is_started) return;
    is_started = true;
    initialize();
    rl_variable_bind("bell-style", "none");
    bindings_init();
    set_variables();
    draw_init();
}

void rv::engine_begin(void (*done)(char *line)) {
    const ScopedVariable locale("LC_ALL", text_locale);  // readline looks at it again for each line
    queue().clear();
    rl_callback_handler_install(draw_prompt(), done);
}

void rv::engine_take(std::string_view key) {
    // A search that is given the first key of a sequence of keys, and then one that is not bound there, jumps out of
    // readline to a place that is gone.
    if (RL_ISSTATE(RL_STATE_ISEARCH) && bindings_begin_sequence(key)) rl_callback_sigcleanup();
    queue().append(key);
    while (!queue().empty() && RL_ISSTATE(RL_STATE_CALLBACK)) rl_callback_read_char();
    queue().clear();
}

// To take the line away (rl_replace_line) would free undo records twice when an entry of the history stands on it.
void rv::engine_drop() {
    rl_callback_sigcleanup();
    engine_take({&drop_key, 1});
}

bool rv::engine_acts_on_escape() {
    return rl_editing_mode == vi_mode;
}
