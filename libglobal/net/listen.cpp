// Listening connections: their events are shown as they come, and a connection that is lost is made again in steps, so
// that no step outlasts the sleep that it is taken in.
#include "libglobal/net/listen.h"

#include <algorithm>

#include <stdio.h>

#include "libglobal/base/wait.h"
#include "libglobal/net/connection.h"
#include "libglobal/net/exchange.h"
#include "libglobal/net/identity.h"
#include "libglobal/net/incoming.h"
#include "libglobal/net/outgoing.h"

namespace rv {

namespace {

constexpr int first_pause_ms = 100;
constexpr int last_pause_ms = 5000;
constexpr int opening_ms = 5000;
constexpr nfds_t served_limit = 16;  // further listeners are served when these leave time

rv_jrpcapi *listeners;

bool is_shown(const Listening &listening, uint32_t group) {
    const auto &groups = listening.groups;
    return group != 0 && std::find(groups.begin(), groups.end(), group) != groups.end();
}

void show(const rv_jrpcmsg *msg) {
    printf("\nEVENT %zu:\n", size_t{rv_jrpcmsg_get_event_code(msg)});
    const json_t *event = rv_jrpcmsg_get_params_json(msg);
    if (const json_t *params = json_object_get(event, "Params")) {
        json_dumpf(params, stdout, JSON_INDENT(4) | JSON_ENCODE_ANY);
        putchar('\n');
    }
    fflush(stdout);
}

void show_kept(rv_jrpcapi &c) {
    while (rv_jrpcmsg *msg = take_kept(c)) {
        if (is_shown(c.listening, rv_jrpcmsg_get_event_code(msg))) show(msg);
        rv_jrpcmsg_free(msg);
    }
}

void pause_before_retry(rv_jrpcapi &c) {
    connection_close(c);
    int &pause = c.listening.pause_ms;
    pause = std::clamp(pause * 2, first_pause_ms, last_pause_ms);
    c.listening.retry_at = rv_now_ms() + pause;
}

// Goes on with opening c. A whole attempt has a deadline of its own, which is retry_at while it lasts.
void go_on_opening(rv_jrpcapi &c) {
    int64_t &deadline = c.listening.retry_at;
    int result = 1;
    if (c.socket.stage == SocketStage::closed) {
        if (rv_now_ms() < deadline) return;
        deadline = rv_now_ms() + opening_ms;
        result = c.destination_err ? c.destination_err
                                   : socket_begin(c.socket, c.destination, c.flags & RV_JRPCAPI_TLS, deadline);
    }
    if (result == 1) result = socket_step(c.socket, deadline);
    if (result < 0 || (result == 1 && rv_now_ms() >= deadline)) return pause_before_retry(c);
    if (result == 1) return;
    connection_opened(c);
    session_announce(c);
}

int read_all(rv_jrpcapi &c) {
    for (;;) {
        if (const int err = sort_lines(c)) return err;
        show_kept(c);
        const int got = receive(c);
        if (got <= 0) return got;
        c.listening.pause_ms = 0;  // a daemon that talks is there
    }
}

// Does for c what can be done without waiting.
void serve(rv_jrpcapi &c) {
    show_kept(c);
    if (!is_open(c)) go_on_opening(c);
    if (!is_open(c)) return;
    queue_hello(c);
    if (read_all(c) < 0 || send_queued(c) < 0) pause_before_retry(c);
}

// What c waits for now. *until is brought forward to the moment when it has to be served without that.
pollfd needs(const rv_jrpcapi &c, int64_t *until) {
    if (is_open(c)) {
        const short output = c.out.text.empty() ? 0 : POLLOUT;
        return {.fd = c.socket.fd, .events = static_cast<short>(POLLIN | output), .revents = 0};
    }
    *until = std::min({*until, c.listening.retry_at, c.socket.again_at});
    if (c.socket.stage == SocketStage::closed) return {.fd = -1, .events = 0, .revents = 0};
    return c.socket.wanted;
}

void unlist(rv_jrpcapi *c) {
    rv_jrpcapi **link = &listeners;
    while (*link && *link != c) link = &(*link)->listening.next;
    if (*link) *link = c->listening.next;
    c->listening.next = nullptr;
}

}  // namespace

int serve_listeners(int64_t deadline) {
    pollfd wanted[served_limit];
    nfds_t count = 0;
    int64_t until = deadline;
    for (rv_jrpcapi *c = listeners; c && count < served_limit; c = c->listening.next) {
        settle(*c);
        serve(*c);
        wanted[count++] = needs(*c, &until);
    }
    return rv_wait(wanted, count, until);
}

}  // namespace rv

void rv_jrpcapi_show_events(rv_jrpcapi *c, const uint32_t *groups, size_t count) {
    rv::unlist(c);
    c->listening = {};
    c->listening.groups.assign(groups, groups + count);
    if (count > 0) {
        c->listening.next = rv::listeners;
        rv::listeners = c;
    }
    rv::set_idle_service(rv::listeners ? rv::serve_listeners : nullptr);
}
