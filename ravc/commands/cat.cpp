// cat, get: parameter values, one line each: the name relative to what was asked for, and the value.
#include <algorithm>

#include <stdio.h>
#include <string.h>

#include "ravc/commands/handlers.h"
#include "ravc/commands/value_print.h"
#include "ravc/daemon/reply_status.h"
#include "ravc/daemon/request.h"

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
        printf("%-*s", static_cast<int>(width), relative_name(element, prefix));
        print_value_colored(json_object_get(element, "Value"), nullptr);
        putchar('\n');
    }
}

// Reads and prints one path, which goes out as typed. Returns 0, or -1 after saying what failed.
int cat_one(const char *command, const char *path) {
    if (!path) {
        printf("%s: no argument.\n", command);
        return -1;
    }
    message_auto_t *msg = rv_jrpcmsg_cmd_get_parameter_values_new(json_pack("[s]", path));
    send_request(msg, NO_TIMEOUT);
    if (rv_jrpcmsg_typeof(msg) != RV_JRPCMSG_RESULT) {
        print_reply_status(msg);
        return -1;
    }
    print_parameters(json_object_get(rv_jrpcmsg_get_result_json(msg), "ParameterList"), {path, strcspn(path, "#")});
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
