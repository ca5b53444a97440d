// One request and its reply.
#pragma once

#include "libglobal/net/connection.h"

namespace rv {

// Ends what an abandoned call left: its request is taken back when nothing of it has left, else its reply will be
// dropped. Every operation begins with it.
void settle(rv_jrpcapi &c);

// Queues request (taken; one that awaits a reply needs an id, see give_id) on an open connection, and awaits its reply,
// which is then in c.exchange.reply. The connection is closed after RV_SOCKET_ERR_LOST, _CLOSED, _GARBAGE, and
// _TOO_LARGE on receipt. Returns 0 or a socket error.
int exchange_new(rv_jrpcapi &c, json_t *request, int64_t deadline);
// Its two halves: the first one waits for nothing, the second one has no more need of the request.
int exchange_begin_new(rv_jrpcapi &c, json_t *request, int64_t deadline);
int exchange_finish(rv_jrpcapi &c, int64_t deadline);

// Gives request the connection's next id. Returns 0, or -1.
int give_id(rv_jrpcapi &c, json_t *request);
// Notes that request, which is queued, is going to be answered. Its reply is dropped unless it is awaited.
void expect_reply(rv_jrpcapi &c, const json_t *request);

// Whether err leaves a connection on which nothing can follow.
bool is_fatal(int err);

}  // namespace rv
