// What the program has asked of the editor. All of it is looked up where it is used, so each takes effect at once.
#include "libglobal/term/settings.h"

rv::EditorSettings &rv::editor_settings() {
    static EditorSettings settings;
    return settings;
}

void rv_rl_set_autocomplete_cb(rv_rl_complete_cb complete) {
    rv::editor_settings().complete = complete;
}

void rv_rl_set_hint_cb(rv_rl_hint_cb hint) {
    rv::editor_settings().hint = hint;
}

void rv_rl_set_describe_cb(rv_rl_describe_cb describe) {
    rv::editor_settings().describe = describe;
}

void rv_rl_set_word_delimiters(const char *delimiters) {
    rv::editor_settings().word_delimiters = delimiters;
}

void rv_rl_case_insensitive(int on) {
    rv::editor_settings().ignore_case = on != 0;
}

void rv_rl_set_colors(rv_hsv prompt, rv_hsv hint, rv_hsv completion) {
    rv::EditorSettings &settings = rv::editor_settings();
    settings.has_colors = true;
    settings.prompt = prompt;
    settings.hint_color = hint;
    settings.completion = completion;
}
