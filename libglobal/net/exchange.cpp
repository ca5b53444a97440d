// Requests and replies, and the operations of rv/jrpcapi.h that send and receive. Between two waits nothing but plain
// numbers and the caller's own pointers lives on the stack: a signal handler may jump out of any wait.
#include "libglobal/net/exchange.h"

#include <utility>

#include <errno.h>

#include "libglobal/net/identity.h"
#include "libglobal/net/incoming.h"
#include "libglobal/net/message.h"
#include "libglobal/net/outgoing.h"

namespace rv {

namespace {

constexpr size_t unanswered_limit = 4096;

// A TCP peer that has closed is seen by reading only: the first bytes sent to it would still be taken. One that never
// stops talking is read until the deadline.
int look_before_sending(rv_jrpcapi &c, int64_t deadline) {
    if (c.socket.kind == RV_SOCKET_UNIX && !c.socket.tls) return 0;
    do {
        if (const int err = sort_lines(c)) return err;
        const int got = receive(c);
        if (got == 0) return 0;
        if (got < 0) return got == RV_SOCKET_ERR_LOST ? static_cast<int>(RV_SOCKET_ERR_CLOSED) : got;
    } while (rv_now_ms() < deadline);
    return 0;
}

int wait_for_input(rv_jrpcapi &c, int64_t deadline) {
    if (socket_pending(c.socket) > 0) return 0;
    pollfd input = c.socket.wanted;
    input.fd = c.socket.fd;
    if (!c.socket.tls) input.events = POLLIN;
    return wait_for(&input, deadline);
}

int await_reply(rv_jrpcapi &c, int64_t deadline) {
    for (bool first = true;; first = false) {
        while (!c.exchange.reply) {
            const int sorted = sort_next_line(c);
            if (sorted < 0) return sorted;
            if (sorted == 0) break;
        }
        if (c.exchange.reply) return 0;
        if (!first && rv_now_ms() >= deadline) return RV_SOCKET_ERR_TIMEOUT;
        if (const int err = wait_for_input(c, deadline)) return err;
        const int got = receive(c);
        if (got < 0) return got;
    }
}

// Takes request. Waits for nothing.
int queue_request_new(rv_jrpcapi &c, json_t *request) {
    const int err = queue_frame(c, request);
    if (err == 0 && message_kind(request) == RV_JRPCMSG_REQUEST) {
        expect_reply(c, request);
        c.exchange.waiting = true;
    }
    json_decref(request);
    return err;
}

bool can_be_executed(const rv_jrpcmsg *msg) {
    return msg->kind == RV_JRPCMSG_REQUEST;
}

// Takes the reply of the last exchange for msg. Where a group was joined or left, the connection remembers.
void take_reply(rv_jrpcapi &c, rv_jrpcmsg &msg) {
    set_reply_new(msg, std::exchange(c.exchange.reply, nullptr));
    if (rv_jrpcmsg_typeof(&msg) == RV_JRPCMSG_RESULT) note_groups(c.identity, msg.request);
}

int execute(rv_jrpcapi &c, rv_jrpcmsg &msg) {
    const int64_t deadline = rv_deadline(c.timeout_ms);
    const int resumed = session_resume(c, deadline);
    if (resumed < 0) return resumed;
    if (resumed == 0) {
        if (!msg.own_id && give_id(c, msg.request) != 0) return RV_SOCKET_ERR_OS - ENOMEM;
        if (msg.secret) outbox_expect_secret(c.out);
        if (const int err = exchange_new(c, json_incref(msg.request), deadline)) return err;
    }
    take_reply(c, msg);
    return 0;
}

int send_only(rv_jrpcapi &c, rv_jrpcmsg &msg) {
    const int64_t deadline = rv_deadline(c.timeout_ms);
    const int resumed = session_resume(c, deadline);
    if (resumed) return resumed < 0 ? resumed : RV_SOCKET_ERR_OS - EACCES;
    if (msg.kind == RV_JRPCMSG_REQUEST && !msg.own_id && give_id(c, msg.request) != 0) return RV_SOCKET_ERR_OS - ENOMEM;
    int err = exchange_begin_new(c, json_incref(msg.request ? msg.request : msg.reply), deadline);
    if (err) return err;
    err = flush(c, deadline);
    if (is_fatal(err)) connection_close(c);
    if (err == 0) c.exchange.waiting = false;  // nobody waits for its reply: it is going to be dropped
    if (err && !c.exchange.waiting) withdraw_frame(c);
    return err;
}

// Reads what is there until a message is kept. Returns 1 when something came, else 0 or an error.
int read_messages(rv_jrpcapi &c) {
    int came = 0;
    for (;;) {
        while (c.kept.lines.empty()) {
            const int sorted = sort_next_line(c);
            if (sorted < 0) return sorted;
            if (sorted == 0) break;
            came = 1;
        }
        if (!c.kept.lines.empty()) return 1;
        const int got = receive(c);
        if (got < 0) return got == RV_SOCKET_ERR_LOST ? static_cast<int>(RV_SOCKET_ERR_CLOSED) : got;
        if (got == 0) return came;
        came = 1;
    }
}

int await_message(rv_jrpcapi &c) {
    if (!c.kept.lines.empty()) return 0;
    if (!is_open(c)) return RV_SOCKET_ERR_CLOSED;
    int came = read_messages(c);
    if (came == 0) {
        if (const int err = wait_for_input(c, rv_deadline(c.timeout_ms))) return err;
        came = read_messages(c);
    }
    if (came < 0) return came;
    return c.kept.lines.empty() ? static_cast<int>(RV_SOCKET_ERR_NOTHING) : 0;
}

// Until an event of one of these groups is kept, for the connection's time-out.
int await_event(rv_jrpcapi &c, const uint32_t *groups, size_t count, rv_jrpcmsg **event) {
    const int64_t deadline = rv_deadline(c.timeout_ms);
    for (bool first = true;; first = false) {
        if (const int err = sort_lines(c)) return err;
        *event = take_kept_event(c, groups, count);
        if (*event) return 0;
        if (!is_open(c)) return RV_SOCKET_ERR_CLOSED;
        if (!first && rv_now_ms() >= deadline) return RV_SOCKET_ERR_TIMEOUT;
        if (const int err = wait_for_input(c, deadline)) return err;
        const int got = receive(c);
        if (got < 0) return got == RV_SOCKET_ERR_LOST ? static_cast<int>(RV_SOCKET_ERR_CLOSED) : got;
    }
}

}  // namespace

bool is_fatal(int err) {
    return err == RV_SOCKET_ERR_LOST || err == RV_SOCKET_ERR_CLOSED || err == RV_SOCKET_ERR_TOO_LARGE ||
           err == RV_SOCKET_ERR_GARBAGE;
}

void settle(rv_jrpcapi &c) {
    json_decref(std::exchange(c.exchange.reply, nullptr));
    if (!std::exchange(c.exchange.waiting, false) || !withdraw_frame(c)) return;
    json_decref(c.exchange.unanswered.back());
    c.exchange.unanswered.pop_back();
}

int give_id(rv_jrpcapi &c, json_t *request) {
    return json_object_set_new(request, "id", json_integer(static_cast<json_int_t>(++c.exchange.last_id)));
}

void expect_reply(rv_jrpcapi &c, const json_t *request) {
    std::deque<json_t *> &unanswered = c.exchange.unanswered;
    unanswered.push_back(json_incref(json_object_get(request, "id")));
    if (unanswered.size() <= unanswered_limit) return;
    json_decref(unanswered.front());
    unanswered.pop_front();
}

int exchange_begin_new(rv_jrpcapi &c, json_t *request, int64_t deadline) {
    const int err = look_before_sending(c, deadline);
    if (err == 0) return queue_request_new(c, request);
    json_decref(request);
    if (is_fatal(err)) connection_close(c);
    return err;
}

int exchange_finish(rv_jrpcapi &c, int64_t deadline) {
    int err = flush(c, deadline);
    if (err == 0) err = await_reply(c, deadline);
    if (!is_fatal(err)) return err;
    // The daemon may answer before it has read all, and then close.
    const bool answered = c.exchange.reply;
    connection_close(c);
    return answered ? 0 : err;
}

int exchange_new(rv_jrpcapi &c, json_t *request, int64_t deadline) {
    const int err = exchange_begin_new(c, request, deadline);
    return err ? err : exchange_finish(c, deadline);
}

}  // namespace rv

int rv_jrpcapi_exec(rv_jrpcapi *c, rv_jrpcmsg *msg) {
    rv::settle(*c);
    rv::drop_reply(*msg);
    msg->failure = RV_SOCKET_ERR_NOTHING;  // what it says should this call be abandoned
    const int err = rv::can_be_executed(msg) ? rv::execute(*c, *msg) : RV_SOCKET_ERR_OS - EINVAL;
    rv::settle(*c);
    if (err) rv::set_failure(*msg, err);
    c->socket_err = err;
    return err;
}

int rv_jrpcapi_send(rv_jrpcapi *c, rv_jrpcmsg *msg) {
    rv::settle(*c);
    c->socket_err = msg->request || msg->reply ? rv::send_only(*c, *msg) : RV_SOCKET_ERR_OS - EINVAL;
    rv::settle(*c);
    return c->socket_err;
}

rv_jrpcmsg *rv_jrpcapi_recv(rv_jrpcapi *c) {
    rv::settle(*c);
    c->socket_err = rv::await_message(*c);
    if (rv::is_fatal(c->socket_err)) rv::connection_close(*c);
    return c->socket_err ? nullptr : rv::take_kept(*c);
}

rv_jrpcmsg *rv_jrpcapi_recv_event(rv_jrpcapi *c, const uint32_t *groups, size_t count) {
    rv_jrpcmsg *event = nullptr;
    rv::settle(*c);
    c->socket_err = rv::await_event(*c, groups, count, &event);
    if (rv::is_fatal(c->socket_err)) rv::connection_close(*c);
    return event;
}

int rv_jrpcapi_pending(const rv_jrpcapi *c) {
    return !c->kept.lines.empty() || c->in.has_line() || rv::socket_pending(c->socket) > 0;
}
