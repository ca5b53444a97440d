// What leaves on a connection: frames are queued whole, and every byte of a frame that has begun to leave goes out
// before the next frame does.
#pragma once

#include "libglobal/net/connection.h"

namespace rv {

// Queues one message as a frame of its own, behind a Hello where one is due. Waits for nothing. Returns 0;
// RV_SOCKET_ERR_TOO_LARGE or the system's EINVAL (no JSON) with nothing queued.
int queue_frame(rv_jrpcapi &c, const json_t *message);
// Queues a Hello where one is due.
void queue_hello(rv_jrpcapi &c);
// Takes the last frame back, when nothing of it has left yet. Returns whether it did.
bool withdraw_frame(rv_jrpcapi &c);

// Offers what is queued to the system once. Returns 0 when all of it has left, 1 when it would block, or
// RV_SOCKET_ERR_LOST.
int send_queued(rv_jrpcapi &c);
// Sends what is queued, and sorts what arrives meanwhile. Returns 0; RV_SOCKET_ERR_CLOSED when the connection is lost
// and no byte of the last frame had left, else RV_SOCKET_ERR_LOST; or another socket error.
int flush(rv_jrpcapi &c, int64_t deadline);

// Makes room for a frame that holds a secret, so that nothing of the outbox moves while it does.
void outbox_expect_secret(Outbox &out);
// Empties the outbox, and wipes it where it held a secret.
void outbox_clear(Outbox &out);

}  // namespace rv
