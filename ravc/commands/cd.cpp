// cd, up: moving the current path.
#include <algorithm>
#include <string>

#include <stdio.h>
#include <stdlib.h>

#include "ravc/commands/handlers.h"
#include "ravc/commands/target.h"
#include "ravc/shell/prompt.h"

namespace {

// The path of that many levels up, as a new argument array. Its text is gone before anything waits.
json_t *steps_up(long levels) {
    const std::string steps(static_cast<size_t>(levels), '<');
    return json_pack("[s]", steps.c_str());
}

}  // namespace

int process_cd(const char *name, json_t *args) {
    if (json_array_size(args) > 1) {
        printf("syntax: %s [<path>]", name);  // without a newline: intended
        return -1;
    }
    target_auto_t target = target_here();
    target_auto_t before = target_here();
    const char *path = json_string_value(json_array_get(args, 0));
    if (!path) {
        cdpath_reset(&target);
    } else if (target_resolve(&target, path) < 0) {
        printf("%s: %s: no such node\n", name, path);
        return -2;
    }
    cdpath_release(&current_path);
    cdpath_release(&previous_path);
    cdpath_copy(&current_path, &target);
    cdpath_copy(&previous_path, &before);
    prompt_update();
    return 0;
}

int process_up(const char *name, json_t *args) {
    if (json_array_size(args) > 1) return process_cd(name, args);
    const char *argument = json_string_value(json_array_get(args, 0));
    const long asked = strtol(argument ? argument : "1", nullptr, 10);
    // One level above the root is the root: more need not be walked.
    const long levels = std::min(asked == 0 ? 1 : asked, static_cast<long>(json_array_size(current_path.parents)) + 1);
    json_auto_t *path = steps_up(std::max(levels, 0L));
    return process_cd(name, path);
}
