// What arrives on a connection: read, cut into lines, and told apart into the awaited reply, replies that nobody waits
// for any more, and messages to keep.
#pragma once

#include <string_view>

#include "libglobal/net/connection.h"

namespace rv {

// Reads once, without waiting. Returns 1 when something came, 0 when nothing is there, RV_SOCKET_ERR_LOST or
// RV_SOCKET_ERR_TOO_LARGE.
int receive(rv_jrpcapi &c);

// Takes the next whole line from the receive buffer: the awaited reply goes to c.exchange.reply, a reply that is not
// awaited is dropped, anything else is kept. Returns 1, 0 when there is no whole line, RV_SOCKET_ERR_GARBAGE or
// RV_SOCKET_ERR_TOO_LARGE.
int sort_next_line(rv_jrpcapi &c);
// Takes all of them. Returns 0 or the error.
int sort_lines(rv_jrpcapi &c);

// The oldest kept message, which the caller frees; null when none is kept.
rv_jrpcmsg *take_kept(rv_jrpcapi &c);
// The oldest kept event of one of these groups, likewise; everything else stays where it is.
rv_jrpcmsg *take_kept_event(rv_jrpcapi &c, const uint32_t *groups, size_t count);

// Adds a line of this event group (0 for no event); past a limit the oldest lines go.
void keep(Kept &kept, std::string_view line, uint32_t group);
// Keeps these messages on c again, as what came before all that is kept there.
void keep_again(rv_jrpcapi &c, Kept &&before);

}  // namespace rv
