// Drawing with readline. What it does not do by itself is here: a hint, as a tail of the line that is there only while
// it is drawn; prompts longer than a row, and lines with wide characters, neither of which it gets right on every
// terminal; and lines taller than the screen, which it can only show by scrolling sideways.
#include "libglobal/term/draw.h"

#include <string>

#include <readline/readline.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "libglobal/base/colors.h"
#include "libglobal/base/wait.h"
#include "libglobal/term/columns.h"
#include "libglobal/term/input.h"
#include "libglobal/term/modes.h"
#include "libglobal/term/open_row.h"
#include "libglobal/term/prompt_rows.h"
#include "libglobal/term/settings.h"
#include "libglobal/term/text.h"

namespace {

constexpr int least_columns = 8;

struct Screen {
    rv::TerminalSize size = {};  // as the line is laid out
    bool is_plain = false;
    bool always_sideways = false;  // the user's own choice
    bool is_sideways = false;
    int changes = 0;              // since the last drawing, as readline has told
    bool is_typed = false;        // the change that is being drawn is one character more
    rv::OpenRow row;              // what stands on the screen
    bool was_narrow = true;       // the same
    bool was_prompt = true;       // the same: no search
    int head_rows = 0;            // rows of the prompt above those that readline knows
    int shown_head_rows = 0;      // of which these stand on the screen
    std::string prompt;           // as given
    std::string readline_prompt;  // with its colour, and its first rows cut off by a line feed
};

Screen &screen() {
    static Screen *const only = new Screen;
    return *only;
}

std::string_view line() {
    return {rl_line_buffer, static_cast<size_t>(rl_end)};
}

void on_redisplay() {
    screen().changes++;
}

// readline divides by zero in a terminal of next to no columns: it is told that there are some more.
void measure() {
    rv::TerminalSize &size = screen().size;
    rl_get_screen_size(&size.rows, &size.columns);
    if (size.columns >= least_columns) return;
    size.columns = least_columns;
    rl_set_screen_size(size.rows, size.columns);
}

bool is_reading_on() {
    return RL_ISSTATE(RL_STATE_ISEARCH | RL_STATE_NSEARCH | RL_STATE_NUMERICARG | RL_STATE_METANEXT |
                      RL_STATE_MOREINPUT | RL_STATE_MULTIKEY | RL_STATE_VIMOTION | RL_STATE_CHARSEARCH);
}

bool shows_prompt() {
    return rl_display_prompt == rl_prompt;
}

rv::Place end_of(std::string_view text) {
    return rv::layout(screen().prompt + std::string(text), screen().size.columns);
}

std::string hint_color() {
    const rv::EditorSettings &settings = rv::editor_settings();
    const std::string color = settings.has_colors ? rv::color_escape(settings.hint_color) : "";
    return color.empty() ? "\033[2m" : color;  // without colours, dim: else it would pass for typed text
}

// readline gives the "active region" a colour of its own: between the mark and the cursor.
void set_hint_color() {
    const std::string color = hint_color();
    static std::string present;
    if (color == present) return;
    present = color;
    rl_variable_bind("active-region-start-color", ("\\e" + color.substr(1)).c_str());
    rl_variable_bind("active-region-end-color", "\\e[0m");
}

void redisplay_with(const std::string &hint) {
    set_hint_color();
    const int end = rl_end, mark = rl_mark;
    rl_extend_line_buffer(end + static_cast<int>(hint.size()) + 2);
    memcpy(rl_line_buffer + end, hint.c_str(), hint.size() + 1);
    rl_end += static_cast<int>(hint.size());
    rl_mark = rl_end;
    rl_activate_mark();
    rl_redisplay();
    rl_deactivate_mark();
    rl_end = end;
    rl_line_buffer[end] = '\0';
    rl_mark = mark;
}

void erase_for_redraw() {
    rl_clear_visible_line();
    rl_on_new_line();
    screen().row.close();
}

bool is_on(const char *variable) {
    return strcmp(rl_variable_value(variable), "on") == 0;
}

// Whether prompt and line stand on the screen as they are, the cursor at their end.
bool is_at_end() {
    return rl_point == rl_end && shows_prompt() && !is_reading_on() && !screen().is_plain && !screen().is_sideways;
}

// Draws what was typed without readline, where that can be.
bool type_on(const std::string &hint) {
    if (!screen().is_typed || !is_at_end()) return false;
    const std::string color = hint.empty() ? "" : hint_color();
    std::string output;
    if (!screen().row.type_on(line(), hint, color, &output)) return false;
    fwrite(output.data(), 1, output.size(), rl_outstream);
    return true;
}

// What readline has just drawn may be typed on where it has one row and the user has not chosen marks before it.
void note_row(const std::string &hint) {
    Screen &s = screen();
    s.row.close();
    if (!is_at_end() || !s.was_narrow || is_on("show-mode-in-prompt") || is_on("mark-modified-lines")) return;
    const rv::Place end = end_of(line());
    const bool is_one_row = rv::layout(hint, s.size.columns, end).row == end_of("").row;
    if (is_one_row) s.row.open(line(), hint, s.size.columns - end.column);
}

// In rows, a line as tall as the screen can't be edited: its first rows are gone.
void choose_scrolling() {
    Screen &s = screen();
    const bool sideways = s.always_sideways || s.is_plain || end_of(line()).row + 1 >= s.size.rows;
    if (sideways == s.is_sideways) return;
    erase_for_redraw();
    rl_variable_bind("horizontal-scroll-mode", sideways ? "on" : "off");
    s.is_sideways = sideways;
}

void put_by_readline(const std::string &hint) {
    Screen &s = screen();
    // readline deletes and inserts single cells also inside wide characters, which terminals do not agree on. And of a
    // search that took several rows it leaves a part.
    const bool narrow = rv::is_narrow(line()) && rv::is_narrow(hint);
    if (!narrow || !s.was_narrow || shows_prompt() != s.was_prompt || s.row.is_ahead()) erase_for_redraw();
    s.was_narrow = narrow;
    s.was_prompt = shows_prompt();
    if (hint.empty()) {
        rl_redisplay();
    } else {
        redisplay_with(hint);
    }
    note_row(hint);
}

void put(const std::string &hint) {
    if (!type_on(hint)) put_by_readline(hint);
    fflush(rl_outstream);
}

// A new text or none, for the line as it stands.
std::string ask_hint() {
    const Screen &s = screen();
    const rv_rl_hint_cb callback = rv::editor_settings().is_question ? nullptr : rv::editor_settings().hint;
    if (!callback || s.is_plain || s.is_sideways || rl_end == 0 || rl_point != rl_end || is_reading_on()) return "";
    const std::string asked(line());
    rv::draw_before_wait();  // what is typed is seen at once, however long its hint takes
    char *text = callback(asked.c_str());
    rv::set_before_wait(nullptr);
    if (!text) return "";
    const std::string hint = text;
    free(text);
    const bool fits = end_of(asked + hint).row + 1 < s.size.rows;
    return fits && !rv::has_control(hint) ? hint : "";
}

void draw(bool with_hint) {
    Screen &s = screen();
    s.is_typed = s.changes == 1 && rl_last_func == rl_insert;
    choose_scrolling();
    const std::string hint = with_hint ? ask_hint() : "";
    put(hint);
    s.is_typed = false;
    s.changes = 0;
}

std::string not_shown(const std::string &escape) {
    return std::string(1, RL_PROMPT_START_IGNORE) + escape + RL_PROMPT_END_IGNORE;
}

std::string colored(const std::string &text) {
    const rv::EditorSettings &settings = rv::editor_settings();
    const std::string color = settings.has_colors && !screen().is_plain ? rv::color_escape(settings.prompt) : "";
    if (text.empty() || color.empty()) return text;
    return not_shown(color) + text + not_shown(rv::color_end);
}

void lay_out_prompt() {
    Screen &s = screen();
    rv::PromptRows rows = {.head = "", .tail = s.prompt, .head_rows = 0};
    if (!s.is_plain) rows = rv::split_prompt(s.prompt, s.size.columns);
    s.readline_prompt = rows.head_rows > 0 ? colored(rows.head) + "\n" + colored(rows.tail) : colored(rows.tail);
    s.head_rows = rows.head_rows;
}

// What stands on the screen is erased from the row on where the prompt began: so many rows above the cursor.
void erase_up(int rows) {
    if (rows > 0) printf("\033[%dA", rows);
    fputs("\r\033[J", stdout);
    fflush(stdout);
}

}  // namespace

void rv::draw_init() {
    Screen &s = screen();
    const char *up = rl_get_termcap("up");
    s.is_plain = !up || !*up;
    s.always_sideways = is_on("horizontal-scroll-mode");
    s.is_sideways = s.always_sideways;
    rl_redisplay_function = on_redisplay;
    measure();
}

bool rv::draw_is_plain() {
    return screen().is_plain;
}

void rv::draw_set_prompt(std::string_view prompt) {
    Screen &s = screen();
    set_before_wait(nullptr);  // left by a callback that a handler jumped away from
    s.prompt = printable(prompt, true);
    rl_reset_screen_size();
    measure();
    lay_out_prompt();
}

const char *rv::draw_prompt() {
    return screen().readline_prompt.c_str();
}

void rv::draw_changes() {
    const Screen &s = screen();
    if (s.changes == 0) return;
    const bool is_waiting = input_is_waiting();
    // readline miscounts the colours of the prompt where a search comes and goes unseen.
    if (!is_waiting || shows_prompt() != s.was_prompt) draw(!is_waiting);
}

void rv::draw_without_hint() {
    draw(false);
}

// It takes the hint away, so something is to be drawn again.
void rv::draw_before_wait() {
    set_before_wait([] {
        put("");
        screen().changes++;
    });
}

void rv::draw_nothing() {
    screen().changes = 0;
}

// A search shows its own text in the prompt's place, and none of the prompt's head.
void rv::draw_anew() {
    Screen &s = screen();
    s.row.close();
    if (shows_prompt()) rl_set_prompt(draw_prompt());
    s.shown_head_rows = shows_prompt() ? s.head_rows : 0;
    rl_forced_update_display();
    s.was_narrow = true;
    s.was_prompt = shows_prompt();
    draw(!input_is_waiting());
}

void rv::draw_hide() {
    Screen &s = screen();
    rl_clear_visible_line();
    s.row.close();
    fflush(rl_outstream);
    if (s.is_plain) {
        printf("\r%*s\r", s.size.columns - 1, "");
        fflush(stdout);
    } else if (s.shown_head_rows > 0) {
        erase_up(s.shown_head_rows);
    }
}

void rv::draw_park() {
    const int point = rl_point;
    rl_point = rl_end;
    draw(false);
    rl_point = point;
}

void rv::draw_below(std::string_view text) {
    draw_park();
    fputc('\n', stdout);
    fwrite(text.data(), 1, text.size(), stdout);
    fflush(stdout);
    draw_anew();
}

// A terminal that was made wider or narrower has moved the cursor along with the text: to where it stands when
// everything up to it is laid out anew.
bool rv::draw_resized(bool shown) {
    Screen &s = screen();
    const bool was_stopped = modes_continued();
    const TerminalSize before = s.size;
    if (modes_resized()) rl_reset_screen_size();
    measure();
    if (before == s.size && !was_stopped) return false;
    if (!shown) return true;
    const Place cursor = end_of(line().substr(0, static_cast<size_t>(rl_point)));
    lay_out_prompt();
    if (s.is_plain) {
        fputs("\r\n", stdout);
    } else {
        erase_up(was_stopped || s.is_sideways ? 0 : cursor.row);
    }
    draw_anew();
    return true;
}
