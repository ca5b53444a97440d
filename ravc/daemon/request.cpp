// The one way in which the program sends a request.
#include "ravc/daemon/request.h"

#include "ravc/daemon/connections.h"

namespace {

rv_jrpcmsg *under_way;  // the request that send_request() waits with

}  // namespace

int send_request(rv_jrpcmsg *msg, int timeout_ms) {
    under_way = msg;
    rv_jrpcapi *connection = requests_connection();
    rv_jrpcapi_set_timeout(connection, timeout_ms);
    int result = rv_jrpcapi_exec(connection, msg);
    if (result < 0 && rv_jrpcapi_get_socket_err(connection) == RV_SOCKET_ERR_CLOSED)
        result = rv_jrpcapi_exec(connection, msg);
    rv_jrpcapi_set_timeout(connection, REST_TIMEOUT_MS);
    under_way = nullptr;
    return result;
}

void mend_abandoned_request() {
    message_release(&under_way);
    rv_jrpcapi_set_timeout(requests_connection(), REST_TIMEOUT_MS);
}

rv_jrpcmsg *request_new(const char *method, json_t *params) {
    return rv_jrpcmsg_create_new(method, json_incref(params));
}

int object_set(json_t *object, const char *key, json_t *value) {
    return json_object_set(object, key, value);
}

void message_release(rv_jrpcmsg **msg) {
    if (*msg) rv_jrpcmsg_free(*msg);
    *msg = nullptr;
}
