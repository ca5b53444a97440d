// What the daemon has to be told again when a connection is made anew: who is logged in, and which groups were joined.
#pragma once

#include "libglobal/net/connection.h"

namespace rv {

// Opens c where it is closed, logs in again and joins the groups again, as far as that is due.
// Returns 0; 1 when the log-in was refused, with the refusal in c.exchange.reply; or a socket error, which is
// RV_SOCKET_ERR_CLOSED for a connection lost meanwhile: nothing of the caller's request was handed over.
int session_resume(rv_jrpcapi &c, int64_t deadline);

// Queues all that session_resume() would ask, without waiting for the answers.
void session_announce(rv_jrpcapi &c);

// Notes what a JoinGroup or LeaveGroup request did that has succeeded. Other requests change nothing.
void note_groups(Identity &identity, const json_t *request);

// Whether c is what joined this group.
bool has_joined(const rv_jrpcapi &c, uint32_t group);

// Wipes and forgets log-in and token; the groups stay.
void forget_identity(Identity &identity);

}  // namespace rv
