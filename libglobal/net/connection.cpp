// Connections: making, setting up, opening and closing them.
#include "libglobal/net/connection.h"

#include "libglobal/net/exchange.h"
#include "libglobal/net/identity.h"
#include "libglobal/net/listen.h"
#include "libglobal/net/outgoing.h"

namespace rv {

namespace {

constexpr char default_destination[] = "/var/run/ravd.sock";
constexpr int connect_ms = 5000;

}  // namespace

int connection_open(rv_jrpcapi &c, int64_t deadline) {
    connection_close(c);
    if (c.destination_err) return c.destination_err;
    const bool secure = c.flags & RV_JRPCAPI_TLS;
    if (const int err = socket_open(c.socket, c.destination, secure, deadline)) return err;
    connection_opened(c);
    return 0;
}

void connection_opened(rv_jrpcapi &c) {
    c.out.hello_role = -1;
    c.identity.login_due = true;
    c.identity.groups_due = c.identity.groups.size();
}

void connection_close(rv_jrpcapi &c) {
    socket_close(c.socket);
    c.in.clear();
    outbox_clear(c.out);
    for (json_t *id : c.exchange.unanswered) json_decref(id);
    c.exchange.unanswered.clear();
    c.exchange.waiting = false;
}

}  // namespace rv

rv_jrpcapi *rv_jrpcapi_init(void) {
    auto *c = new rv_jrpcapi;
    rv_jrpcapi_set_destination(c, nullptr, rv::default_destination, RV_SOCKET_UNIX);
    return c;
}

void rv_jrpcapi_deinit(rv_jrpcapi *c) {
    if (!c) return;
    rv_jrpcapi_show_events(c, nullptr, 0);
    rv::settle(*c);
    rv::connection_close(*c);
    rv::forget_identity(c->identity);
    delete c;
}

int rv_jrpcapi_set_destination(rv_jrpcapi *c, const char *, const char *path, int) {
    rv::connection_close(*c);
    c->destination_err = rv::parse_destination(path ? path : "", rv::PortZero::refused, &c->destination);
    c->socket.kind = c->destination.kind;
    return c->destination_err;
}

void rv_jrpcapi_set_timeout(rv_jrpcapi *c, int ms) {
    c->timeout_ms = ms;
}

int rv_jrpcapi_get_timeout(const rv_jrpcapi *c) {
    return c->timeout_ms;
}

int rv_jrpcapi_get_flags(const rv_jrpcapi *c) {
    return c->flags;
}

void rv_jrpcapi_set_flags(rv_jrpcapi *c, int flags) {
    c->flags = flags;
}

int rv_jrpcapi_connect(rv_jrpcapi *c) {
    rv::settle(*c);
    c->socket_err = rv::is_open(*c) ? 0 : rv::connection_open(*c, rv_deadline(rv::connect_ms));
    return c->socket_err;
}

const rv_socket *rv_jrpcapi_socket(const rv_jrpcapi *c) {
    return &c->socket;
}

int rv_jrpcapi_get_socket_err(const rv_jrpcapi *c) {
    return c->socket_err;
}
