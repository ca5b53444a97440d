// The builders of requests. Each one gives null when a text in it can't be sent.

#include "libglobal/net/message.h"

namespace {

rv_jrpcmsg *wrap(int kind, json_t *request) {
    if (!request) return nullptr;
    auto *msg = new rv_jrpcmsg;
    msg->kind = kind;
    msg->request = request;
    return msg;
}

// A request whose params could be built; null params mean that they could not.
rv_jrpcmsg *request_with(const char *method, json_t *params) {
    return params ? rv_jrpcmsg_create_new(method, params) : nullptr;
}

json_t *list_or_empty(json_t *list) {
    return list ? list : json_array();
}

// The request's params, begun where it has none; null when they are no object.
json_t *open_params(rv_jrpcmsg *msg) {
    if (!msg || !msg->request) return nullptr;
    json_t *params = json_object_get(msg->request, "params");
    if (!params && json_object_set_new(msg->request, "params", json_object()) == 0)
        params = json_object_get(msg->request, "params");
    return json_is_object(params) ? params : nullptr;
}

}  // namespace

rv_jrpcmsg *rv_jrpcmsg_create_new(const char *method, json_t *params) {
    return wrap(RV_JRPCMSG_REQUEST, rv::envelope_new(method, params));
}

rv_jrpcmsg *rv_jrpcmsg_create_event_new(uint32_t group, json_t *params) {
    json_t *event = json_pack("{s:I, s:o*}", "Group", json_int_t{group}, "Params", params);
    return event ? wrap(RV_JRPCMSG_EVENT, rv::envelope_new(rv::event_method, event)) : nullptr;
}

int rv_jrpcmsg_add_parameter_json_new(rv_jrpcmsg *msg, const char *key, json_t *value) {
    json_t *params = open_params(msg);
    if (params) return json_object_set_new(params, key, value);
    json_decref(value);
    return -1;
}

rv_jrpcmsg *rv_jrpcmsg_cmd_join_group(uint32_t group) {
    return request_with(rv::join_method, json_pack("{s:I}", "Group", json_int_t{group}));
}

rv_jrpcmsg *rv_jrpcmsg_cmd_get_parameter_names(const char *path, int next_level) {
    return request_with("GetParameterNames",
                        json_pack("{s:s, s:b}", "ParameterPath", path, "NextLevel", next_level != 0));
}

rv_jrpcmsg *rv_jrpcmsg_cmd_get_parameter_values_new(json_t *names) {
    return request_with("GetParameterValues", json_pack("{s:o}", "ParameterNames", list_or_empty(names)));
}

rv_jrpcmsg *rv_jrpcmsg_cmd_get_parameter_attributes_new(json_t *names, int depth) {
    return request_with("GetParameterAttributes",
                        json_pack("{s:o, s:i}", "ParameterNames", list_or_empty(names), "Depth", depth));
}

rv_jrpcmsg *rv_jrpcmsg_cmd_set_parameter_values_new(json_t *list) {
    return request_with("SetParameterValues", json_pack("{s:o}", "ParameterList", list_or_empty(list)));
}

int rv_jrpcmsg_cmd_set_parameter_values_add_new(rv_jrpcmsg *msg, const char *name, json_t *value) {
    json_t *pair = json_pack("{s:s, s:o}", "Name", name, "Value", value ? value : json_null());
    json_t *params = pair ? open_params(msg) : nullptr;
    if (params && !json_object_get(params, "ParameterList")) json_object_set_new(params, "ParameterList", json_array());
    json_t *list = json_object_get(params, "ParameterList");
    if (list && pair) return json_array_append_new(list, pair);
    json_decref(pair);
    return -1;
}

rv_jrpcmsg *rv_jrpcmsg_cmd_add_object(const char *path) {
    return request_with("AddObject", json_pack("{s:s}", "ObjectName", path));
}

rv_jrpcmsg *rv_jrpcmsg_cmd_delete_object(const char *path) {
    return request_with("DeleteObject", json_pack("{s:s}", "ObjectName", path));
}

rv_jrpcmsg *rv_jrpcmsg_cmd_execute_new(const char *path, json_t *params) {
    return request_with("Execute", json_pack("{s:s, s:o*}", "Path", path, "ParameterList", params));
}

rv_jrpcmsg *rv_jrpcmsg_cmd_get_datamodel_new(json_t *paths, int depth) {
    return request_with("GetDatamodel", json_pack("{s:o, s:i}", "Paths", list_or_empty(paths), "Depth", depth));
}
