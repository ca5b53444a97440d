// The configuration API, over the connection that the program has handed to it.
#include "rv/confapi.h"

namespace {

rv_jrpcapi *context;

}  // namespace

void rv_confapi_set_ctx(rv_jrpcapi *c) {
    context = c;
}

json_t *rv_confapi_getconfig(const char *path) {
    json_t *names = context ? json_pack("[s]", path) : nullptr;
    rv_jrpcmsg *msg = names ? rv_jrpcmsg_cmd_get_parameter_values_new(names) : nullptr;
    if (!msg) return nullptr;
    if (rv_jrpcapi_exec(context, msg) == RV_SOCKET_ERR_CLOSED) rv_jrpcapi_exec(context, msg);
    const json_t *list = json_object_get(rv_jrpcmsg_get_result_json(msg), "ParameterList");
    json_t *value = json_incref(json_object_get(json_array_get(list, 0), "Value"));
    rv_jrpcmsg_free(msg);
    return value;
}
