// Frames out. The outbox belongs to the connection: a frame that was abandoned half-sent is finished later.
#include "libglobal/net/outgoing.h"

#include <errno.h>
#include <poll.h>
#include <string.h>
#include <sys/random.h>

#include "libglobal/net/incoming.h"
#include "libglobal/net/message.h"

namespace rv {

namespace {

// Holds a Hello and a request with a user and a password of 255 bytes, each byte escaped: no text in the outbox moves
// while it holds a secret.
constexpr size_t secret_frame_size = 4096;
constexpr size_t kept_size = size_t{256} * 1024;

// The session's secret, the same on every connection of this process: 32 hex digits.
const char *session_secret() {
    static char text[33];
    if (text[0]) return text;
    unsigned char bytes[16];
    size_t have = 0;
    while (have < sizeof bytes) {
        const ssize_t got = getrandom(bytes + have, sizeof bytes - have, 0);
        if (got > 0) have += static_cast<size_t>(got);
    }
    for (size_t i = 0; i < sizeof bytes; i++) {
        text[2 * i] = "0123456789abcdef"[bytes[i] >> 4];
        text[2 * i + 1] = "0123456789abcdef"[bytes[i] & 15];
    }
    return text;
}

int append(const char *data, size_t size, void *text) {
    static_cast<std::string *>(text)->append(data, size);
    return 0;
}

// Appends message as one line. Returns 0, or -1 with the text as it was.
int append_line(std::string &text, const json_t *message) {
    const size_t before = text.size();
    if (message && json_dump_callback(message, append, &text, JSON_COMPACT) == 0) {
        text += '\n';
        return 0;
    }
    text.resize(before);
    return -1;
}

bool has_left(const rv_jrpcapi &c, size_t start) {
    return c.out.sent > start || c.out.offered > start;
}

// A connection that failed while something was to be sent: whether the last frame can be sent again.
int loss(const rv_jrpcapi &c) {
    return c.exchange.handed_over ? RV_SOCKET_ERR_LOST : RV_SOCKET_ERR_CLOSED;
}

// The daemon may have said why before it closed.
void read_last_words(rv_jrpcapi &c) {
    while (sort_lines(c) == 0 && receive(c) > 0) continue;
}

}  // namespace

void queue_hello(rv_jrpcapi &c) {
    const int role = c.flags & RV_JRPCAPI_EVENTS;
    if (c.out.hello_role == role) return;
    json_t *params = json_pack("{s:i, s:s, s:s, s:s}", "Protocol", 1, "Session", session_secret(), "Role",
                               role ? "events" : "requests", "Client", "ravc " RAV_VERSION);
    json_t *hello = envelope_new("Hello", params);
    if (append_line(c.out.text, hello) == 0) c.out.hello_role = role;
    json_decref(hello);
}

int queue_frame(rv_jrpcapi &c, const json_t *message) {
    queue_hello(c);
    const size_t start = c.out.text.size();
    if (append_line(c.out.text, message) != 0) return RV_SOCKET_ERR_OS - EINVAL;
    if (c.out.text.size() - start > FrameBuffer::default_limit) {
        c.out.text.resize(start);
        return RV_SOCKET_ERR_TOO_LARGE;
    }
    c.exchange.start = start;
    c.exchange.handed_over = false;
    return 0;
}

bool withdraw_frame(rv_jrpcapi &c) {
    const size_t start = c.exchange.start;
    if (start > c.out.text.size() || c.exchange.handed_over || has_left(c, start)) return false;
    c.out.text.resize(start);
    return true;
}

int send_queued(rv_jrpcapi &c) {
    while (c.out.sent < c.out.text.size()) {
        if (c.socket.tls) c.out.offered = c.out.text.size();
        const ssize_t sent = socket_send(c.socket, c.out.text.data() + c.out.sent, c.out.text.size() - c.out.sent);
        if (sent > 0) c.out.sent += static_cast<size_t>(sent);
        if (has_left(c, c.exchange.start)) c.exchange.handed_over = true;
        if (sent <= 0) return sent < 0 ? static_cast<int>(sent) : 1;
    }
    outbox_clear(c.out);
    return 0;
}

int flush(rv_jrpcapi &c, int64_t deadline) {
    for (bool first = true;; first = false) {
        const int result = send_queued(c);
        if (result < 0) {
            read_last_words(c);
            return loss(c);
        }
        if (result == 0) return 0;
        if (!first && rv_now_ms() >= deadline) return RV_SOCKET_ERR_TIMEOUT;
        pollfd both{.fd = c.socket.fd, .events = POLLIN | POLLOUT, .revents = 0};
        if (const int err = wait_for(&both, deadline)) return err;
        if (!(both.revents & POLLIN)) continue;
        if (const int err = sort_lines(c)) return err;
        const int got = receive(c);
        if (got == RV_SOCKET_ERR_LOST) return loss(c);
        if (got < 0) return got;
    }
}

void outbox_expect_secret(Outbox &out) {
    out.text.reserve(out.text.size() + secret_frame_size);
    out.secret = true;
}

void outbox_clear(Outbox &out) {
    if (out.secret) explicit_bzero(out.text.data(), out.text.size());
    out.text.clear();
    if (out.text.capacity() > kept_size) out.text.shrink_to_fit();
    out.sent = out.offered = 0;
    out.secret = false;
}

}  // namespace rv
