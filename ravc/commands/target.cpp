// Copy, resolve, name: what every command on a path begins with.
#include "ravc/commands/target.h"

#include <stdio.h>

#include "ravc/cache/node_cache.h"
#include "rv/tr.h"

void target_release(cdpath *target) {
    cdpath_release(target);
}

cdpath target_here() {
    cdpath target;
    cdpath_copy(&target, &current_path);
    return target;
}

int target_resolve(cdpath *target, const char *text) {
    if (!text || !target->node) return 0;
    // A "*" without a template leads to a null node: nowhere.
    return cdpath_resolve(target, text) < 0 || !target->node ? -1 : 0;
}

bool target_is_parameter(const cdpath *target) {
    return target->node != node_cache_root && node_cache_is_parameter(target->path, target->node);
}

TargetName target_object_name(const cdpath *target) {
    TargetName name;
    snprintf(name.text, sizeof name.text, "%s%s", target->path, rv_tr_path_is_partial(target->path) ? "" : ".");
    return name;
}
