// Key bindings. Names of readline's own functions mean what they mean for us, whatever key the user has put them on:
// completion is our candidates, and what ends a line first takes the hint away.
#include "libglobal/term/bindings.h"

#include <readline/readline.h>
#include <stdio.h>
#include <stdlib.h>

#include "libglobal/term/draw.h"

namespace {

constexpr int keys_of_a_map = KEYMAP_SIZE;
constexpr int escape = 27;

bool completion_asked;

int on_complete(int, int) {
    completion_asked = true;
    return 0;
}

int on_drop(int, int) {
    rl_done = 1;
    return 0;
}

template <rl_command_func_t *function>
int without_hint(int count, int key) {
    rv::draw_without_hint();
    return function(count, key);
}

int on_clear_screen(int, int) {
    if (!rv::draw_is_plain()) fputs("\033[H\033[2J", rl_outstream);
    return rl_forced_update_display();
}

struct KeyBinding {
    const char *keys;
    rl_command_func_t *function;
};

// In every mode. What terminals send for these keys is bound by files of the system otherwise, or not at all.
constexpr KeyBinding key_bindings[] = {
    {"\\e[1~", rl_beg_of_line},         {"\\e[7~", rl_beg_of_line},         {"\\e[H", rl_beg_of_line},
    {"\\eOH", rl_beg_of_line},          {"\\e[4~", rl_end_of_line},         {"\\e[8~", rl_end_of_line},
    {"\\e[F", rl_end_of_line},          {"\\eOF", rl_end_of_line},          {"\\e[3~", rl_delete},
    {"\\e[1;5C", rl_forward_word},      {"\\e[1;5D", rl_backward_word},     {"\\eOC", rl_forward_char},
    {"\\eOD", rl_backward_char},        {"\\eOA", rl_get_previous_history}, {"\\eOB", rl_get_next_history},
    {"\\e[A", rl_get_previous_history}, {"\\e[B", rl_get_next_history},     {"\\e[C", rl_forward_char},
    {"\\e[D", rl_backward_char},
};

struct Replacement {
    rl_command_func_t *function;
    rl_command_func_t *by;  // null: its keys do nothing
};

constexpr Replacement replacements[] = {
    {rl_newline, without_hint<rl_newline>},
    {rl_operate_and_get_next, without_hint<rl_operate_and_get_next>},
    {rl_insert_comment, without_hint<rl_insert_comment>},
    {rl_vi_eof_maybe, without_hint<rl_vi_eof_maybe>},
    {rl_complete, on_complete},
    {rl_possible_completions, on_complete},
    {rl_insert_completions, on_complete},
    {rl_menu_complete, on_complete},
    {rl_backward_menu_complete, on_complete},
    {rl_old_menu_complete, on_complete},
    {rl_vi_complete, on_complete},
    {rl_delete_or_show_completions, rl_delete},
    {rl_clear_screen, on_clear_screen},
    {rl_clear_display, on_clear_screen},
    {rl_refresh_line, on_clear_screen},
    {rl_bracketed_paste_begin, nullptr},  // it would read on until the paste ends
    {rl_re_read_init_file, nullptr},      // it would bring back what is replaced here
};

Keymap map_of(const KEYMAP_ENTRY &entry) {
    return reinterpret_cast<Keymap>(entry.function);
}

void replace_in(Keymap map) {
    for (int key = 0; key < keys_of_a_map; key++) {
        if (map[key].type == ISKMAP) {
            replace_in(map_of(map[key]));
        } else if (map[key].type == ISFUNC) {
            for (const Replacement &replacement : replacements)
                if (map[key].function == replacement.function) {
                    map[key].function = replacement.by;
                    break;
                }
        }
    }
}

// As readline does it, with the two places that it looks in.
void read_inputrc() {
    const char *named = getenv("INPUTRC");
    if (named && *named) {
        rl_read_init_file(named);
    } else if (rl_read_init_file("~/.inputrc") != 0) {
        rl_read_init_file("/etc/inputrc");
    }
    rl_set_keymap_from_edit_mode();
}

}  // namespace

void rv::bindings_init() {
    const Keymap maps[] = {rl_get_keymap_by_name("emacs-standard"), rl_get_keymap_by_name("vi-insert"),
                           rl_get_keymap_by_name("vi-command")};
    for (const Keymap map : maps) {
        for (const KeyBinding &binding : key_bindings) rl_bind_keyseq_in_map(binding.keys, binding.function, map);
    }
    // Escape and Enter together would silently change to vi's keys.
    for (const char *keys : {"\\e\\C-j", "\\e\\C-m"}) rl_bind_keyseq_in_map(keys, rl_newline, maps[0]);
    read_inputrc();
    for (const Keymap map : maps) {
        replace_in(map);
        rl_bind_key_in_map(static_cast<unsigned char>(drop_key), on_drop, map);
    }
}

bool rv::bindings_begin_sequence(std::string_view key) {
    const unsigned char first = static_cast<unsigned char>(key[0]);
    return key.size() == 1 && first != escape && rl_get_keymap()[first].type == ISKMAP;
}

bool rv::bindings_completion_asked() {
    const bool asked = completion_asked;
    completion_asked = false;
    return asked;
}
