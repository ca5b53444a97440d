// add, touch, take, del, rm, order: instances of multi-instance objects.
#include <stdio.h>
#include <string.h>

#include "ravc/commands/handlers.h"
#include "ravc/commands/target.h"
#include "ravc/daemon/reply_status.h"
#include "ravc/daemon/request.h"
#include "rv/colors.h"
#include "rv/string.h"
#include "rv/tr.h"

namespace {

const char *argument_or_here(json_t *args) {
    const char *path = json_string_value(json_array_get(args, 0));
    return path ? path : ".";
}

// Sends msg and tells its outcome. Returns 0.
int send_and_report(rv_jrpcmsg *msg) {
    send_request(msg, NO_TIMEOUT);
    print_reply_status(msg);
    return 0;
}

// Resolves path on target where there is a cache. Returns 0, or -1 after saying that there is no such node.
int resolve_or_say(const char *command, cdpath *target, const char *path) {
    if (target_resolve(target, path) == 0) return 0;
    printf("%s: %s: no such node.\n", command, path);
    return -1;
}

// The name that DeleteObject is sent with: the root's is empty, as no object can be deleted by it.
const char *deleted_name(const cdpath *target, const char *typed, TargetName *room) {
    if (!target->node) return typed;
    const bool closed = !target_is_parameter(target) && rv_tr_path_is_full(target->path);
    snprintf(room->text, sizeof room->text, "%s%s", target->path, closed ? "." : "");
    return room->text;
}

void print_instance_number(int number) {
    fputs("Instance number:", stdout);
    rv_colors_set(3);
    printf(" %d\n", number);
    rv_colors_reset();
}

}  // namespace

int process_add(const char *name, json_t *args) {
    if (json_array_size(args) > 2) {
        printf("syntax: %s <path> [<order_num>]\n", name);
        return -1;
    }
    const char *path = argument_or_here(args);
    target_auto_t target = target_here();
    if (resolve_or_say(name, &target, path) < 0) return -1;
    TargetName room = target_object_name(&target);
    message_auto_t *msg = rv_jrpcmsg_cmd_add_object(target.node ? room.text : path);
    send_request(msg, NO_TIMEOUT);
    int number = 0;
    json_unpack(rv_jrpcmsg_get_result_json(msg), "{s : i}", "InstanceNumber", &number);
    if (number > 0) print_instance_number(number);
    print_reply_status(msg);
    return number;
}

int process_take(const char *name, json_t *args) {
    const int number = process_add(name, args);
    if (number < 1) return -1;
    const char *path = argument_or_here(args);
    json_auto_t *instance = json_array();
    json_array_append_new(instance, json_sprintf("%s%s%d", path, rv_tr_path_is_full(path) ? "." : "", number));
    return process_cd(name, instance);
}

int process_del(const char *name, json_t *args) {
    if (json_array_size(args) != 1) {
        printf("syntax: %s <path>\n", name);
        return -1;
    }
    const char *path = argument_or_here(args);
    target_auto_t target = target_here();
    if (resolve_or_say(name, &target, path) < 0) return -1;
    TargetName room;
    message_auto_t *msg = rv_jrpcmsg_cmd_delete_object(deleted_name(&target, path, &room));
    return send_and_report(msg);
}

int process_order(const char *name, json_t *args) {
    if (json_array_size(args) != 2) {
        printf("syntax: %s <path> <order_num>\n", name);
        return -1;
    }
    const char *path = argument_or_here(args);
    const char *place = json_string_value(json_array_get(args, 1));
    uint32_t number = 0;
    if (rv_string_strntoul(place, strlen(place), 10, &number) < 0) {
        printf("%s: invalid order integer: %s\n", name, place);
        return -1;
    }
    target_auto_t target = target_here();
    if (resolve_or_say(name, &target, path) < 0) return -1;
    if (target_resolve(&target, "index") < 0) {
        printf("%s: %s: is not an ordered instance.\n", name, path);
        return -1;
    }
    message_auto_t *msg = rv_jrpcmsg_cmd_set_parameter_values_new(nullptr);
    // Sent as 32 bits signed, so that 4294967295 is -1: intended.
    rv_jrpcmsg_cmd_set_parameter_values_add_new(msg, target.node ? target.path : path,
                                                json_integer(static_cast<int32_t>(number)));
    return send_and_report(msg);
}
