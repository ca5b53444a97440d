// The key for completion. It runs between two keys, not inside of readline: a program that waits for its candidates may
// be interrupted there.
#include "libglobal/term/tab.h"

#include <string>
#include <vector>

#include <readline/readline.h>
#include <stdio.h>
#include <stdlib.h>

#include "libglobal/base/colors.h"
#include "libglobal/base/wait.h"
#include "libglobal/term/columns.h"
#include "libglobal/term/complete.h"
#include "libglobal/term/draw.h"
#include "libglobal/term/settings.h"
#include "libglobal/term/text.h"

namespace {

constexpr size_t most_screens = 2;  // of candidates; whoever wants more of them types more

std::string list_color() {
    const rv::EditorSettings &settings = rv::editor_settings();
    return settings.has_colors && !rv::draw_is_plain() ? rv::color_escape(settings.completion) : "";
}

void show(const std::vector<std::string_view> &candidates) {
    const rv::TerminalSize size = rv::terminal_size();
    const size_t most_rows = most_screens * static_cast<size_t>(size.rows);
    rv::draw_below(rv::columns(candidates, size.columns, list_color(), most_rows));
}

// Row by row: what the program tells may have several.
void describe() {
    const rv_rl_describe_cb callback = rv::editor_settings().describe;
    if (!callback) return;
    const std::string typed(rl_line_buffer, static_cast<size_t>(rl_point));
    char *text = callback(typed.c_str());
    if (!text) return;
    const std::string color = list_color();
    std::string shown;
    for (std::string_view rest = text; !rest.empty();) {
        const std::string_view row = rest.substr(0, rest.find('\n'));
        shown += color + rv::printable(row) + (color.empty() ? "" : rv::color_end) + "\n";
        rest.remove_prefix(std::min(row.size() + 1, rest.size()));
    }
    free(text);
    if (!shown.empty()) rv::draw_below(shown);
}

void replace_word(const rv::Completion &completion) {
    rl_begin_undo_group();
    rl_delete_text(static_cast<int>(completion.start), rl_point);
    rl_point = static_cast<int>(completion.start);
    rl_insert_text(completion.text.c_str());
    rl_end_undo_group();
    (*rl_redisplay_function)();
}

void use(const json_t *list, bool is_second) {
    std::vector<std::string_view> candidates;
    candidates.reserve(json_array_size(list));
    for (size_t i = 0; i < json_array_size(list); i++) {
        const json_t *item = json_array_get(list, i);
        if (json_string_length(item) > 0) candidates.emplace_back(json_string_value(item), json_string_length(item));
    }
    const std::string_view line(rl_line_buffer, static_cast<size_t>(rl_end));
    const rv::EditorSettings &settings = rv::editor_settings();
    const rv::Completion completion =
        rv::complete(line, static_cast<size_t>(rl_point), candidates, settings.ignore_case, settings.word_delimiters);
    if (completion.replaces) {
        replace_word(completion);
    } else if (candidates.size() > 1) {
        show(candidates);
    } else if (completion.is_whole && is_second) {
        describe();
    }
}

}  // namespace

void rv::tab_pressed(bool is_second) {
    const rv_rl_complete_cb callback = editor_settings().complete;
    if (!callback || editor_settings().is_question) return;
    const std::string line(rl_line_buffer, static_cast<size_t>(rl_end));
    json_t *candidates = json_array();
    draw_before_wait();
    callback(line.c_str(), static_cast<size_t>(rl_point), candidates);
    set_before_wait(nullptr);
    use(candidates, is_second);
    json_decref(candidates);
}
