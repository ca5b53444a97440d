// set: parameter values, several pairs in one request.
#include <stdio.h>
#include <string.h>

#include "ravc/commands/handlers.h"
#include "ravc/commands/target.h"
#include "ravc/commands/typed_argument.h"
#include "ravc/daemon/reply_status.h"
#include "ravc/daemon/request.h"

namespace {

json_t *make_pair(const char *name, json_t *value) {
    return json_pack("{s : s, s : o}", "Name", name, "Value", value);
}

// A pair in the shell, checked against the schema: a new reference, or null after saying why not.
json_t *checked_pair(const char *command, const char *path, const char *text) {
    target_auto_t target = target_here();
    json_t *value = typed_value_at(command, &target, path, text);
    return value ? make_pair(target.path, value) : nullptr;
}

// A pair without a cache: the name as typed, the value as JSON; null without a word when it is none.
json_t *raw_pair(const char *path, const char *text) {
    json_t *value = json_loads(text, JSON_DECODE_ANY, nullptr);
    return value ? make_pair(path, value) : nullptr;
}

// The pair that argument stands for: a new reference, or null.
json_t *parse_pair(const char *command, const char *argument) {
    const char *text = nullptr;
    json_auto_t *path = split_argument(command, argument, &text);
    if (!path) return nullptr;
    return current_path.node ? checked_pair(command, json_string_value(path), text)
                             : raw_pair(json_string_value(path), text);
}

}  // namespace

json_t *parse_set_args(const char *command, json_t *args) {
    json_t *list = json_array();
    size_t i;
    json_t *argument;
    json_array_foreach(args, i, argument) if (json_t *pair = parse_pair(command, json_string_value(argument)))
        json_array_append_new(list, pair);
    if (json_array_size(list) > 0) return list;
    printf("%s: no argument.\n", command);
    json_decref(list);
    return nullptr;
}

int process_set(const char *name, json_t *args) {
    json_t *list = parse_set_args(name, args);
    if (!list) return -1;
    message_auto_t *msg = strcmp(name, "set") == 0 ? rv_jrpcmsg_cmd_set_parameter_values_new(list)
                                                   : rv_jrpcmsg_create_new("RawSetParameterValues",
                                                                           json_pack("{s:o}", "ParameterList", list));
    send_request(msg, NO_TIMEOUT);
    print_reply_status(msg);
    return 0;
}
