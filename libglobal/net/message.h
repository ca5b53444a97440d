// The inside of a message: the request and, beside it, its reply, so that a request can be executed again.
#pragma once

#include <jansson.h>

#include "rv/jrpcmsg.h"

struct rv_jrpcmsg {
    int kind = RV_JRPCMSG_NONE;  // what request is; NONE without one
    bool own_id = false;         // the request brings its own id, which goes out as it stands
    json_t *request = nullptr;
    json_t *reply = nullptr;
    bool secret = false;  // the request's params hold a secret
    int failure = 0;      // the socket error that stands for a reply; reply is null, or says the same as JSON
};

namespace rv {

inline constexpr char event_method[] = "Event";
inline constexpr char join_method[] = "JoinGroup";
inline constexpr char leave_method[] = "LeaveGroup";

// What a JSON value is as a message: one of the RV_JRPCMSG_* codes.
int message_kind(const json_t *json);
// The group that a message names, of an event or of joining and leaving; 0 where it names none.
uint32_t message_group(const json_t *json);
// The code of an error reply: never 0. A reply without an error has the code 0.
int32_t reply_error_code(const json_t *reply);

// {"jsonrpc": "2.0", "method": method, "params": params}; without params when that is null. Takes params, also when
// it fails. Null for a method that is not UTF-8.
json_t *envelope_new(const char *method, json_t *params);

// Drops the reply, so that msg is its request again.
void drop_reply(rv_jrpcmsg &msg);
// Makes reply (taken, not null) the reply of msg.
void set_reply_new(rv_jrpcmsg &msg, json_t *reply);
// Makes msg an error reply with a socket error's number and text.
void set_failure(rv_jrpcmsg &msg, int failure);

}  // namespace rv
