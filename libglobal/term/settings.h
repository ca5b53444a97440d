// What the program has asked of the editor: callbacks and colours (rv/rl.h).
#pragma once

#include "rv/rl.h"

namespace rv {

struct EditorSettings {
    rv_rl_complete_cb complete = nullptr;
    rv_rl_hint_cb hint = nullptr;
    rv_rl_describe_cb describe = nullptr;
    const char *word_delimiters = nullptr;  // null: words and separators of the shell
    bool ignore_case = false;
    bool is_question = false;  // the present line is an answer: the callbacks rest
    bool has_colors = false;   // else the three below are not used
    rv_hsv prompt = {};
    rv_hsv hint_color = {};
    rv_hsv completion = {};
};
EditorSettings &editor_settings();

}  // namespace rv
