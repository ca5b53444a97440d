// opt: completion and hints on and off.
#include <stdio.h>
#include <string.h>

#include "ravc/commands/handlers.h"
#include "ravc/shell/complete.h"
#include "rv/rl.h"

namespace {

void switch_autocomplete(bool on) {
    rv_rl_case_insensitive(1);  // either way: intended
    rv_rl_set_autocomplete_cb(on ? complete_line : nullptr);
}

void switch_hint(bool on) {
    rv_rl_set_hint_cb(on ? hint_line : nullptr);
}

struct Option {
    const char *name;
    void (*set)(bool on);
};

constexpr Option options[] = {{"autocomplete", switch_autocomplete}, {"hint", switch_hint}};

// Returns 0, or -1 when there is no such option or state.
int set_option(const char *name, const char *state) {
    const bool on = strcmp(state, "on") == 0;
    if (!on && strcmp(state, "off") != 0) return -1;
    for (const Option &option : options) {
        if (strcmp(option.name, name) != 0) continue;
        option.set(on);
        return 0;
    }
    return -1;
}

}  // namespace

int process_opt(const char *name, json_t *args) {
    const char *option = json_string_value(json_array_get(args, 0));
    const char *state = json_string_value(json_array_get(args, 1));
    if (json_array_size(args) == 2 && set_option(option, state) == 0) return 0;
    printf("syntax: %s autocomplete|hint on|off", name);  // without a newline: intended
    return -1;
}
