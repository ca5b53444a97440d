// Copy, resolve, name: what every command on a path begins with.
#include "ravc/commands/target.h"

#include <stdio.h>

#include "ravc/cache/node_cache.h"
#include "ravc/daemon/request.h"
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

json_t *fetch_node_attributes(const char *name, int timeout_ms) {
    message_auto_t *msg = rv_jrpcmsg_cmd_get_parameter_attributes_new(json_pack("[s]", name), 0);
    send_request(msg, timeout_ms);
    const json_t *list = json_object_get(rv_jrpcmsg_get_result_json(msg), "ParameterList");
    return json_incref(json_object_get(json_array_get(list, 0), "Attributes"));
}
