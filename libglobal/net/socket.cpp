// Opening sockets: look-up, connection and TLS handshake as one state machine whose whole state is in rv_socket, and
// the transfer of bytes.
#include "libglobal/net/socket.h"

#include <algorithm>

#include <errno.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "libglobal/net/lookup.h"
#include "libglobal/net/secure.h"

namespace rv {

namespace {

constexpr int go_on = 2;  // a stage is done: the next one follows at once
constexpr int backlog_pause_ms = 10;
constexpr ssize_t lost = RV_SOCKET_ERR_LOST;

int os_error(int number) {
    return RV_SOCKET_ERR_OS - number;
}

int want(rv_socket &s, int fd, short events) {
    s.wanted = {.fd = fd, .events = events, .revents = 0};
    return 1;
}

int lookup_error(int number) {
    if (number == EAI_SYSTEM) return os_error(errno);
    return number == EAI_MEMORY ? os_error(ENOMEM) : RV_SOCKET_ERR_HOST;
}

// A silent peer is found out by probes after 30 s of quiet, and after 60 s when bytes stay unacknowledged.
void tune_tcp(int fd) {
    static constexpr struct {
        int level, name, value;
    } options[] = {
        {IPPROTO_TCP, TCP_NODELAY, 1},    {SOL_SOCKET, SO_KEEPALIVE, 1}, {IPPROTO_TCP, TCP_KEEPIDLE, 30},
        {IPPROTO_TCP, TCP_KEEPINTVL, 10}, {IPPROTO_TCP, TCP_KEEPCNT, 3}, {IPPROTO_TCP, TCP_USER_TIMEOUT, 60000},
    };
    for (const auto &option : options) setsockopt(fd, option.level, option.name, &option.value, sizeof option.value);
}

int new_descriptor(rv_socket &s, int family) {
    if (s.fd >= 0) close(s.fd);
    s.fd = socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    return s.fd < 0 ? os_error(errno) : 0;
}

int connected(rv_socket &s) {
    s.again_at = RV_NO_DEADLINE;
    if (s.addresses) freeaddrinfo(s.addresses);
    s.addresses = nullptr;
    s.stage = s.secure ? SocketStage::handshaking : SocketStage::open;
    return s.secure ? go_on : 0;
}

int step_unix(rv_socket &s) {
    if (const int err = s.fd < 0 ? new_descriptor(s, AF_UNIX) : 0) return err;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    s.destination->path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (connect(s.fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0) return connected(s);
    if (errno != EAGAIN) return os_error(errno);
    s.again_at = rv_now_ms() + backlog_pause_ms;  // a full backlog: no event tells when there is room
    return want(s, -1, 0);
}

// The time until the deadline is shared out evenly among the addresses that are left.
int64_t share_of(const addrinfo *address, int64_t deadline) {
    if (deadline == RV_NO_DEADLINE) return deadline;
    int left = 1;
    while ((address = address->ai_next)) left++;
    const int64_t now = rv_now_ms();
    return now + std::max<int64_t>(deadline - now, 0) / left;
}

int try_address(rv_socket &s, int64_t deadline) {
    int err = new_descriptor(s, s.address->ai_family);
    if (err) return err;
    tune_tcp(s.fd);
    if (connect(s.fd, s.address->ai_addr, s.address->ai_addrlen) == 0) return connected(s);
    if (errno != EINPROGRESS) return os_error(errno);
    s.again_at = share_of(s.address, deadline);
    return want(s, s.fd, POLLOUT);
}

// From the address at hand to the first one that does not fail at once.
int try_addresses(rv_socket &s, int64_t deadline) {
    for (;;) {
        const int err = try_address(s, deadline);
        if (err >= 0 || !s.address->ai_next) return err;
        s.address = s.address->ai_next;
    }
}

int step_tcp(rv_socket &s, int64_t deadline) {
    pollfd now{.fd = s.fd, .events = POLLOUT, .revents = 0};
    int err = RV_SOCKET_ERR_TIMEOUT;
    if (poll(&now, 1, 0) > 0) {
        int number = 0;
        socklen_t size = sizeof number;
        getsockopt(s.fd, SOL_SOCKET, SO_ERROR, &number, &size);
        if (number == 0) return connected(s);
        err = os_error(number);
    } else if (s.again_at == RV_NO_DEADLINE || rv_now_ms() < s.again_at) {
        return want(s, s.fd, POLLOUT);
    }
    if (!s.address->ai_next) return err;
    s.address = s.address->ai_next;
    return try_addresses(s, deadline);
}

int connect_first(rv_socket &s, int64_t deadline) {
    s.stage = SocketStage::connecting;
    s.address = s.addresses;
    return try_addresses(s, deadline);
}

int begin_tcp(rv_socket &s, int64_t deadline) {
    const char *host = s.destination->host.c_str();
    if (known_address(host, s.destination->port, &s.addresses) == 0) return connect_first(s, deadline);
    s.addresses = nullptr;
    s.lookup = start_lookup(host, s.destination->port);
    if (!s.lookup) return os_error(errno);
    s.stage = SocketStage::looking_up;
    return want(s, lookup_fd(s.lookup), POLLIN);
}

int step_lookup(rv_socket &s, int64_t deadline) {
    pollfd now{.fd = lookup_fd(s.lookup), .events = POLLIN, .revents = 0};
    if (poll(&now, 1, 0) <= 0) return want(s, now.fd, POLLIN);
    const int number = lookup_result(s.lookup, &s.addresses);
    const int err = number ? lookup_error(number) : 0;
    drop_lookup(s.lookup);
    s.lookup = nullptr;
    return err ? err : connect_first(s, deadline);
}

int step_handshake(rv_socket &s) {
    char reason[200] = "";
    const TlsModule *module = tls_module();
    if (!module) return RV_SOCKET_ERR_TLS;
    const bool local = s.kind == RV_SOCKET_UNIX;
    if (!s.tls) s.tls = module->start(s.fd, local ? "localhost" : s.destination->host.c_str(), reason, sizeof reason);
    short events = 0;
    const int result = s.tls ? module->handshake(s.tls, &events, reason, sizeof reason) : -1;
    if (result == 0) return want(s, s.fd, events);
    if (result < 0) {
        note_tls_reason(reason);
        return RV_SOCKET_ERR_TLS;
    }
    s.stage = SocketStage::open;
    return 0;
}

int step_once(rv_socket &s, int64_t deadline) {
    switch (s.stage) {
        case SocketStage::closed:
            return RV_SOCKET_ERR_CLOSED;
        case SocketStage::looking_up:
            return step_lookup(s, deadline);
        case SocketStage::connecting:
            return s.kind == RV_SOCKET_UNIX ? step_unix(s) : step_tcp(s, deadline);
        case SocketStage::handshaking:
            return step_handshake(s);
        case SocketStage::open:
            break;
    }
    return 0;
}

int closed_on_error(rv_socket &s, int result) {
    if (result < 0) socket_close(s);
    return result;
}

}  // namespace

int socket_begin(rv_socket &s, const Destination &destination, bool secure, int64_t deadline) {
    socket_close(s);
    s.kind = destination.kind;
    s.destination = &destination;
    s.secure = secure;
    s.stage = SocketStage::connecting;
    int result = s.kind == RV_SOCKET_UNIX ? step_unix(s) : begin_tcp(s, deadline);
    if (result == go_on) result = step_once(s, deadline);
    return closed_on_error(s, result);
}

int socket_step(rv_socket &s, int64_t deadline) {
    int result;
    do result = step_once(s, deadline);
    while (result == go_on);
    return closed_on_error(s, result);
}

int socket_open(rv_socket &s, const Destination &destination, bool secure, int64_t deadline) {
    int result = socket_begin(s, destination, secure, deadline);
    while (result == 1) {
        result = wait_for(&s.wanted, std::min(deadline, s.again_at));
        if (result == 0 || (result == RV_SOCKET_ERR_TIMEOUT && rv_now_ms() < deadline))
            result = socket_step(s, deadline);
    }
    return closed_on_error(s, result);
}

void socket_close(rv_socket &s) {
    if (s.tls) tls_module()->stop(s.tls);
    if (s.fd >= 0) close(s.fd);
    if (s.addresses) freeaddrinfo(s.addresses);
    drop_lookup(s.lookup);
    const int kind = s.kind;
    s = {};
    s.kind = kind;
}

ssize_t socket_send(rv_socket &s, const char *data, size_t size) {
    s.wanted = {.fd = s.fd, .events = POLLOUT, .revents = 0};
    if (s.tls) {
        const ssize_t sent = tls_module()->send(s.tls, data, size, &s.wanted.events);
        return sent < 0 ? lost : sent;
    }
    const ssize_t sent = send(s.fd, data, size, MSG_NOSIGNAL);
    if (sent > 0) return sent;
    return errno == EAGAIN || errno == EINTR ? 0 : lost;
}

ssize_t socket_receive(rv_socket &s, char *data, size_t size) {
    s.wanted = {.fd = s.fd, .events = POLLIN, .revents = 0};
    if (s.tls) {
        const ssize_t got = tls_module()->receive(s.tls, data, size, &s.wanted.events);
        return got < 0 ? lost : got;
    }
    const ssize_t got = recv(s.fd, data, size, 0);
    if (got > 0) return got;
    return got < 0 && (errno == EAGAIN || errno == EINTR) ? 0 : lost;
}

size_t socket_pending(const rv_socket &s) {
    return s.tls ? tls_module()->pending(s.tls) : 0;
}

int wait_for(pollfd *wanted, int64_t deadline) {
    const int ready = rv_wait(wanted, wanted->fd < 0 ? 0 : 1, deadline);
    if (ready > 0) return 0;
    if (ready == 0) return RV_SOCKET_ERR_TIMEOUT;
    return errno == EINTR ? RV_SOCKET_ERR_NOTHING : os_error(errno);
}

}  // namespace rv
