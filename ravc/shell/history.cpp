// Setting up and taking down what the line editor knows of the shell.
#include "ravc/shell/history.h"

#include "ravc/shell/complete.h"
#include "rv/history.h"
#include "rv/rl.h"

namespace {

constexpr char history_path[] = "/tmp/.ravc.hist";

bool is_open;

}  // namespace

void shell_history_open() {
    rv_rl_case_insensitive(1);
    rv_rl_set_autocomplete_cb(complete_line);
    rv_rl_set_hint_cb(hint_line);
    rv_rl_set_describe_cb(describe_line);
    rv_history_load(history_path);
    is_open = true;
}

bool shell_history_close() {
    if (!is_open) return false;
    is_open = false;
    rv_rl_case_insensitive(1);
    rv_rl_set_autocomplete_cb(nullptr);
    rv_rl_set_hint_cb(nullptr);
    rv_rl_set_describe_cb(nullptr);
    rv_history_dump(history_path, -1);
    rv_history_clear();
    return true;
}
