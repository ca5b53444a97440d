// execute: a method of the data model, its arguments checked before anything is sent.
#include <stdio.h>
#include <string.h>

#include "ravc/commands/handlers.h"
#include "ravc/commands/target.h"
#include "ravc/commands/tree_draw.h"
#include "ravc/commands/typed_argument.h"
#include "ravc/daemon/reply_status.h"
#include "ravc/daemon/request.h"
#include "rv/tr.h"

namespace {

enum { ARGUMENT_MAX = 255 };  // bytes

// The pair that argument stands for below input: a new reference, or null after saying why there is none.
json_t *input_pair(const char *command, const cdpath *input, const char *argument) {
    if (strlen(argument) > ARGUMENT_MAX) {
        printf("%s: %s: argument too long.\n", command, argument);
        return nullptr;
    }
    const char *text = nullptr;
    json_auto_t *key = split_argument(command, argument, &text);
    if (!key) return nullptr;
    target_auto_t place;
    cdpath_copy(&place, input);
    json_t *value = typed_value_at(command, &place, json_string_value(key), text);
    return value ? json_pack("{s:O, s:o}", "Name", key, "Value", value) : nullptr;
}

// The input list of the arguments behind the method: a new array, which may be empty, or null when one is wrong.
json_t *input_list(const char *command, const cdpath *input, const json_t *args) {
    json_t *list = json_array();
    for (size_t i = 1; i < json_array_size(args); i++) {
        json_t *pair = input_pair(command, input, json_string_value(json_array_get(args, i)));
        if (!pair) {
            json_decref(list);
            return nullptr;
        }
        json_array_append_new(list, pair);
    }
    return list;
}

// Fills *list with the input for the method at target, null for none. Returns 0, or -1 after saying what is wrong.
int read_input(const char *command, cdpath *target, const json_t *args, json_t **list) {
    target->allow_input = true;
    if (target->node && cdpath_resolve(target, "#input") == 0) {
        *list = input_list(command, target, args);
        if (!*list) return -1;
        cdpath_resolve(target, "<");
    } else if (json_array_size(args) > 1) {
        printf("%s: this method does not have input arguments.\n", command);
        return -1;
    }
    return 0;
}

// Prints a method's output. Returns -1 when there is none.
int print_output(const rv_jrpcmsg *reply, const char *method) {
    const json_t *list = json_object_get(rv_jrpcmsg_get_result_json(reply), "ParameterList");
    if (rv_jrpcmsg_typeof(reply) != RV_JRPCMSG_RESULT || json_array_size(list) == 0) return -1;
    json_auto_t *output = rv_tr_namevalues_to_config(list, nullptr);
    if (output) draw_tree(output, nullptr, method);
    return 0;
}

}  // namespace

int process_execute(const char *name, json_t *args) {
    const char *path = json_string_value(json_array_get(args, 0));
    if (!path || !*path) {
        printf("%s: no method.\n", name);
        return -1;
    }
    target_auto_t target = target_here();
    if (target_resolve(&target, path) < 0) {
        printf("%s: %s: no such method.\n", name, path);
        return -1;
    }
    json_auto_t *input = nullptr;
    if (read_input(name, &target, args, &input) < 0) return -1;
    const char *method = target.node ? target.path : path;
    message_auto_t *msg = rv_jrpcmsg_cmd_execute_new(method, json_array_size(input) > 0 ? json_incref(input) : nullptr);
    send_request(msg, NO_TIMEOUT);
    if (print_output(msg, method) == 0) return 0;
    // A method that gives no output ends with -1, too: the result tells whether anything came back.
    print_reply_status(msg);
    return -1;
}
