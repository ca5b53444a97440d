// JSON-RPC messages. One message object is first the request and, after rv_jrpcapi_exec(), its reply.
//
// Ownership: a builder or setter whose name ends in "_new" takes over the reference to the JSON value it is
// given, also when it fails; the others borrow their arguments. Builders return a new message that the caller
// frees with rv_jrpcmsg_free(), or null when an argument can't be sent (a text that is not UTF-8).
// The rv_jrpcmsg_get_* accessors lend values that live as long as the message is neither freed nor sent again.
// Nothing here prints.
#pragma once

#include <jansson.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct rv_jrpcmsg rv_jrpcmsg;

enum {
    RV_JRPCMSG_NONE = 0,
    RV_JRPCMSG_REQUEST = 1,
    RV_JRPCMSG_NOTIFICATION = 2,
    RV_JRPCMSG_EVENT = 3,
    RV_JRPCMSG_ERROR = 4,
    RV_JRPCMSG_RESULT = 5
};

// A request for method; params may be null (no "params" member).
rv_jrpcmsg *rv_jrpcmsg_create_new(const char *method, json_t *params);
// An event for group; params may be null and may be any JSON value.
rv_jrpcmsg *rv_jrpcmsg_create_event_new(uint32_t group, json_t *params);
// The message that json is: a request, notification or event ("method" is a text) or a reply ("id" with "result"
// or "error"), with "jsonrpc": "2.0". Null when json is none. Takes a reference of its own.
rv_jrpcmsg *rv_jrpcmsg_parse_json(json_t *json);
void rv_jrpcmsg_free(rv_jrpcmsg *msg);  // takes null
// Says that the request's params hold a secret: what goes out is wiped once it has left, and every text in the params,
// whoever else has it, when msg is freed. Takes null.
void rv_jrpcmsg_set_secret(rv_jrpcmsg *msg);

// One of the RV_JRPCMSG_* codes.
int rv_jrpcmsg_typeof(const rv_jrpcmsg *msg);
// The whole message as JSON: a new reference, which the caller drops.
json_t *rv_jrpcmsg_json(const rv_jrpcmsg *msg);

// Parts of a message; null where it has none. For an error reply: the code (never 0; any other message gives 0),
// the short text, the further text ("Detail") and the object of details ("Data").
json_t *rv_jrpcmsg_get_params_json(const rv_jrpcmsg *msg);
json_t *rv_jrpcmsg_get_result_json(const rv_jrpcmsg *msg);
int32_t rv_jrpcmsg_get_error_code(const rv_jrpcmsg *msg);
const char *rv_jrpcmsg_get_error_message(const rv_jrpcmsg *msg);
const char *rv_jrpcmsg_get_error_detail(const rv_jrpcmsg *msg);
json_t *rv_jrpcmsg_get_errordata_json(const rv_jrpcmsg *msg);
// The group of an event; 0 for a message that is no event.
uint32_t rv_jrpcmsg_get_event_code(const rv_jrpcmsg *msg);

// Makes msg a successful reply that carries result; null drops its reply, so that it is its request again.
// Returns 0, or -1.
int rv_jrpcmsg_set_result_new(rv_jrpcmsg *msg, json_t *result);
// Sets one member of the request's params, which must be an object or absent. Returns 0, or -1.
int rv_jrpcmsg_add_parameter_json_new(rv_jrpcmsg *msg, const char *key, json_t *value);

// One builder for each method of the daemon that programs call by name.
rv_jrpcmsg *rv_jrpcmsg_cmd_join_group(uint32_t group);
rv_jrpcmsg *rv_jrpcmsg_cmd_get_parameter_names(const char *path, int next_level);
rv_jrpcmsg *rv_jrpcmsg_cmd_get_parameter_values_new(json_t *names);
// depth: 0 the nodes themselves, 1 with their children, -1 with all below them.
rv_jrpcmsg *rv_jrpcmsg_cmd_get_parameter_attributes_new(json_t *names, int depth);
// list: an array of {"Name", "Value"}, or null for an empty one.
rv_jrpcmsg *rv_jrpcmsg_cmd_set_parameter_values_new(json_t *list);
// Appends one pair to "ParameterList", which is begun where the request has none yet; a null value goes out as
// JSON null. Returns 0, or -1.
int rv_jrpcmsg_cmd_set_parameter_values_add_new(rv_jrpcmsg *msg, const char *name, json_t *value);
rv_jrpcmsg *rv_jrpcmsg_cmd_add_object(const char *path);
rv_jrpcmsg *rv_jrpcmsg_cmd_delete_object(const char *path);
// params: an array of {"Name", "Value"}, or null for none.
rv_jrpcmsg *rv_jrpcmsg_cmd_execute_new(const char *path, json_t *params);
rv_jrpcmsg *rv_jrpcmsg_cmd_get_datamodel_new(json_t *paths, int depth);

#ifdef __cplusplus
}
#endif
