// The configuration API, over the connection that the program has handed to it.
#include "rv/confapi.h"

#include "rv/log.h"

namespace {

rv_jrpcapi *context;
rv_jrpcmsg *last_selection;
bool next_error_ignored;

bool take_ignored() {
    const bool ignored = next_error_ignored;
    next_error_ignored = false;
    return ignored;
}

void report(const char *what, const rv_jrpcmsg *reply) {
    const char *message = rv_jrpcmsg_get_error_message(reply);
    rv_log_error("can't read %s: [%d] %s", what, rv_jrpcmsg_get_error_code(reply), message ? message : "no value");
}

// A member of the reply to msg (taken), which asks for what: a new reference, or null.
json_t *fetch(rv_jrpcmsg *msg, const char *member, const char *what) {
    const bool ignored = take_ignored();
    if (msg) rv_confapi_exec(msg);
    json_t *value = json_incref(json_object_get(rv_jrpcmsg_get_result_json(msg), member));
    if (!value && !ignored) report(what, msg);
    rv_jrpcmsg_free(msg);
    return value;
}

}  // namespace

void rv_confapi_set_ctx(rv_jrpcapi *c) {
    context = c;
}

int rv_confapi_exec(rv_jrpcmsg *msg) {
    if (!context) return -1;
    const int result = rv_jrpcapi_exec(context, msg);
    return result == RV_SOCKET_ERR_CLOSED ? rv_jrpcapi_exec(context, msg) : result;
}

json_t *rv_confapi_getconfig(const char *path) {
    json_t *names = json_pack("[s]", path);
    rv_jrpcmsg *msg = names ? rv_jrpcmsg_cmd_get_parameter_values_new(names) : nullptr;
    json_t *list = fetch(msg, "ParameterList", path);
    json_t *value = json_incref(json_object_get(json_array_get(list, 0), "Value"));
    json_decref(list);
    return value;
}

json_t *_rv_confapi_getconfig_fullpath(const char *path, int) {
    return fetch(rv_jrpcmsg_create_new("GetConfig", json_pack("{s:s}", "Path", path)), "Config", path);
}

json_t *rv_confapi_select_new(const char *selector, int, int) {
    rv_jrpcmsg_free(last_selection);
    last_selection = rv_jrpcmsg_create_new("Select", json_pack("{s:s}", "Selector", selector));
    if (!last_selection) return nullptr;
    rv_confapi_exec(last_selection);
    return json_incref(json_object_get(rv_jrpcmsg_get_result_json(last_selection), "Selection"));
}

const rv_jrpcmsg *rv_confapi_get_last_message(void) {
    return last_selection;
}

void rv_confapi_ignore_next_error_exec(int on) {
    next_error_ignored = on;
}
