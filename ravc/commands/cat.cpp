// cat, get: parameter values, one line each: the name relative to what was asked for, and the value.
#include <algorithm>

#include <stdio.h>
#include <string.h>

#include "ravc/cache/node_cache.h"
#include "ravc/commands/handlers.h"
#include "ravc/commands/target.h"
#include "ravc/commands/value_print.h"
#include "ravc/daemon/reply_status.h"
#include "ravc/daemon/request.h"
#include "ravc/shell/interrupt.h"
#include "rv/tr.h"

namespace {

// How much of the names in the reply every line leaves out: what was asked for, up to a "#template" in it.
struct Prefix {
    const char *text;
    size_t length;
};

// A name is cut only where it begins with the prefix, so that reading "." prints whole names.
const char *relative_name(const json_t *element, Prefix prefix) {
    const char *name = json_string_value(json_object_get(element, "Name"));
    if (!name) return "";
    return strncmp(name, prefix.text, prefix.length) == 0 ? name + prefix.length : name;
}

void print_parameters(const json_t *list, Prefix prefix) {
    size_t i;
    json_t *element;
    size_t width = 0;
    json_array_foreach(list, i, element) width = std::max(width, strlen(relative_name(element, prefix)));
    json_array_foreach(list, i, element) {
        if (interrupt_pending()) return;
        const char *name = relative_name(element, prefix);
        const char *full_name = json_string_value(json_object_get(element, "Name"));
        printf("%-*s", static_cast<int>(width), name);
        print_value_colored(json_object_get(element, "Value"), rv_tr_node_find(node_cache_root, full_name, name));
        putchar('\n');
    }
}

// Whether a path ends in one of the pseudo-parameters of multi-instance objects.
bool is_pseudo_parameter(const char *path) {
    const char *dot = strrchr(path, '.');
    const char *last = dot ? dot + 1 : path;
    return strcmp(last, "max_instance") == 0 || strcmp(last, "order") == 0;
}

// The name that the target is asked for by; without a cache, the path as typed.
const char *request_name(const cdpath *target, const char *typed, TargetName *room) {
    if (!target->node) return typed;
    if (target_is_parameter(target) || is_pseudo_parameter(target->path)) return target->path;
    *room = target_object_name(target);
    return room->text;
}

// Reads and prints one path. Returns 0, or -1 after saying what failed.
int cat_one(const char *command, const char *path) {
    target_auto_t target = target_here();
    if (target_resolve(&target, path) < 0) {
        printf("%s: %s: no such node.\n", command, path);
        return -1;
    }
    TargetName room;
    const char *name = request_name(&target, path, &room);
    if (!name) {
        printf("%s: no argument.\n", command);
        return -1;
    }
    message_auto_t *msg = rv_jrpcmsg_cmd_get_parameter_values_new(json_pack("[s]", name));
    if (target.wildcard) rv_jrpcmsg_add_parameter_json_new(msg, "IgnoreAccessError", json_true());
    send_request(msg, NO_TIMEOUT);
    if (rv_jrpcmsg_typeof(msg) != RV_JRPCMSG_RESULT) {
        print_reply_status(msg);
        return -1;
    }
    print_parameters(json_object_get(rv_jrpcmsg_get_result_json(msg), "ParameterList"), {name, strcspn(name, "#")});
    return 0;
}

}  // namespace

int process_cat(const char *name, json_t *args) {
    if (json_array_size(args) == 0) cat_one(name, ".");
    size_t i;
    json_t *path;
    json_array_foreach(args, i, path) cat_one(name, json_string_value(path));
    return 0;
}
