// Requests to the daemon: building them, sending them, releasing them. Nothing here prints.
#pragma once

#include "rv/jrpcapi.h"

// Time-outs of send_request(), in milliseconds. Most commands wait without limit.
enum { NO_TIMEOUT = -1, REST_TIMEOUT_MS = 5000 };

// Sends msg on the requests connection and waits for its reply, which replaces the request inside msg.
// timeout_ms: milliseconds, -1 = no limit. The connection is back at 5000 ms on return, whatever happened.
// Repeats once, and only when the first try failed with RV_SOCKET_ERR_CLOSED.
// Returns the last result of rv_jrpcapi_exec(): negative = transport failure.
// Borrows msg. May not return: Ctrl-C can abandon the caller while this waits.
int send_request(rv_jrpcmsg *msg, int timeout_ms);

// After a jump out of a command: frees the message that send_request() was waiting with, whose owner is gone, and puts
// the connection's time-out back.
void mend_abandoned_request();

// A request for method. Takes a reference of its own on params, which may be null.
rv_jrpcmsg *request_new(const char *method, json_t *params);

// Sets key in object without consuming the caller's reference to value. Returns 0, or -1.
int object_set(json_t *object, const char *key, json_t *value);

// Frees the message that is pointed at, if any, and clears the pointer.
void message_release(rv_jrpcmsg **msg);

// A message released at the end of its scope, as json_auto_t is for JSON: message_auto_t *msg = …
#define message_auto_t rv_jrpcmsg __attribute__((cleanup(message_release)))
