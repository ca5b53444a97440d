// The two connections to the daemon, owned here.
#include "ravc/daemon/connections.h"

#include <stdio.h>

#include "ravc/daemon/request.h"

namespace {

rv_jrpcapi *requests;
rv_jrpcapi *events;

void connect_unless_open(rv_jrpcapi *connection) {
    if (rv_socket_fd(rv_jrpcapi_socket(connection)) == -1) rv_jrpcapi_connect(connection);
}

}  // namespace

void connections_init() {
    requests = rv_jrpcapi_init();
    events = rv_jrpcapi_init();
}

void connections_deinit() {
    rv_jrpcapi_deinit(requests);
    rv_jrpcapi_deinit(events);
    requests = events = nullptr;
}

rv_jrpcapi *requests_connection() {
    return requests;
}
rv_jrpcapi *events_connection() {
    return events;
}

int connections_open() {
    connect_unless_open(requests);
    connect_unless_open(events);
    if (const int err = rv_jrpcapi_get_socket_err(requests)) {
        printf("Cannot connect to ravd(requests) - %s(%d)\n", rv_socket_strerror(err), err);
        return -1;
    }
    if (const int err = rv_jrpcapi_get_socket_err(events)) {
        printf("Cannot connect to ravd(events) - %s(%d)\n", rv_socket_strerror(err), err);
        return -1;
    }
    return 0;
}

void join_group(rv_jrpcapi *connection, uint32_t group) {
    message_auto_t *msg = rv_jrpcmsg_cmd_join_group(group);
    rv_jrpcapi_set_timeout(connection, 1000);
    rv_jrpcapi_exec(connection, msg);
}
