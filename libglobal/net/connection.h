// A connection to the daemon: its whole state, grouped by the file that works on it. All of it stands here, none on
// the stack, so that a call which is abandoned in a wait leaves a connection that the next call can go on with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include <jansson.h>

#include "libglobal/net/destination.h"
#include "libglobal/net/frame.h"
#include "libglobal/net/socket.h"
#include "rv/jrpcapi.h"

namespace rv {

// Bytes on their way out (outgoing.cpp).
struct Outbox {
    std::string text;
    size_t sent = 0;      // bytes of text that the system has taken
    size_t offered = 0;   // bytes that TLS was offered and must be offered again unchanged
    bool secret = false;  // text holds a password or a token: wipe it
    int hello_role = -1;  // the events bit that the last Hello told; -1 = none was sent on this connection
};

// The exchange that is under way, and what earlier ones left (exchange.cpp).
struct Exchange {
    uint64_t last_id = 0;
    // The ids of requests that are not answered yet, in the order sent; the last one is awaited while waiting is set,
    // the others were abandoned. References.
    std::deque<json_t *> unanswered;
    bool waiting = false;
    size_t start = 0;          // where the last frame begins in the outbox
    bool handed_over = false;  // a byte of it was taken
    json_t *reply = nullptr;   // the awaited one, once it is there
};

// Messages that came in while something else was awaited (incoming.cpp).
struct KeptLine {
    std::string text;
    uint32_t group;  // of an event; 0 for anything else
};

struct Kept {
    std::deque<KeptLine> lines;
    size_t bytes = 0;
};

// What a new connection has to be told again (identity.cpp).
struct Identity {
    bool has_login = false;
    bool has_password = false;
    std::string user, password, token;
    std::vector<uint32_t> groups;  // joined on this connection
    bool login_due = false;
    size_t groups_due = 0;  // the last so many of groups have to be joined again
};

// Showing events while the program sleeps (listen.cpp).
struct Listening {
    std::vector<uint32_t> groups;  // none: not listening
    rv_jrpcapi *next = nullptr;
    int pause_ms = 0;
    int64_t retry_at = 0;
};

}  // namespace rv

struct rv_jrpcapi {
    rv::Destination destination;
    int destination_err = 0;
    rv_socket socket;
    int flags = 0;
    int timeout_ms = 5000;
    int socket_err = 0;
    rv::FrameBuffer in;
    rv::Outbox out;
    rv::Exchange exchange;
    rv::Kept kept;
    rv::Identity identity;
    rv::Listening listening;
};

namespace rv {

inline bool is_open(const rv_jrpcapi &c) {
    return c.socket.stage == SocketStage::open;
}

// Opens the socket, closed or half open before, by the deadline. Returns 0 or a socket error.
int connection_open(rv_jrpcapi &c, int64_t deadline);
// What a connection that was just opened begins with.
void connection_opened(rv_jrpcapi &c);
// Closes it and drops what belonged to the stream; kept messages, a reply that is there and the identity stay.
void connection_close(rv_jrpcapi &c);

}  // namespace rv
