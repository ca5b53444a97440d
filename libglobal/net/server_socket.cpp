// Server sockets: they never block but in poll(), never raise SIGPIPE, and are closed in children.
#include <algorithm>

#include <errno.h>
#include <netinet/in.h>
#include <poll.h>
#include <unistd.h>

#include "libglobal/net/socket.h"

namespace {

constexpr int stalled_ms = 60000;

using NameOf = int (*)(int fd, sockaddr *address, socklen_t *size);

int name_of(const rv_socket *s, NameOf ask, sockaddr_storage *address) {
    sockaddr_storage found{};
    socklen_t size = sizeof found;
    if (ask(rv_socket_fd(s), reinterpret_cast<sockaddr *>(&found), &size) != 0) return -1;
    *address = found;
    return 0;
}

rv_socket *adopt(int fd) {
    if (fd < 0) return nullptr;
    auto *s = new rv_socket;
    s->kind = RV_SOCKET_TCP;
    s->fd = fd;
    s->stage = rv::SocketStage::open;
    return s;
}

}  // namespace

int rv_socket_get_addr(const rv_socket *s, sockaddr_storage *address) {
    return name_of(s, getsockname, address);
}

int rv_socket_get_peer(const rv_socket *s, sockaddr_storage *address) {
    return name_of(s, getpeername, address);
}

socklen_t rv_socket_addrsize(const sockaddr_storage *address) {
    if (address->ss_family == AF_INET) return sizeof(sockaddr_in);
    return address->ss_family == AF_INET6 ? sizeof(sockaddr_in6) : 0;
}

rv_socket *rv_socket_new(int family) {
    if (family == 4) return adopt(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    errno = EAFNOSUPPORT;
    return nullptr;
}

void rv_socket_free(rv_socket *s) {
    if (!s) return;
    rv::socket_close(*s);
    delete s;
}

int rv_socket_bind(rv_socket *s, const sockaddr_storage *address, socklen_t size) {
    return bind(s->fd, reinterpret_cast<const sockaddr *>(address), size);
}

int rv_socket_listen(rv_socket *s, int backlog) {
    return listen(s->fd, backlog);
}

int rv_socket_wait(const rv_socket *s, int read, int timeout_ms) {
    const int64_t deadline = rv_deadline(timeout_ms);
    for (;;) {
        pollfd wanted{.fd = s->fd, .events = static_cast<short>(read ? POLLIN : POLLOUT), .revents = 0};
        const int64_t left = deadline == RV_NO_DEADLINE ? -1 : std::max<int64_t>(deadline - rv_now_ms(), 0);
        const int ready = poll(&wanted, 1, static_cast<int>(left));
        if (ready >= 0 || errno != EINTR) return ready;
    }
}

rv_socket *rv_socket_accept(rv_socket *s) {
    return adopt(accept4(s->fd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

ssize_t rv_socket_send(rv_socket *s, const void *data, size_t size) {
    const auto *bytes = static_cast<const char *>(data);
    size_t sent = 0;
    while (sent < size) {
        const ssize_t taken = rv::socket_send(*s, bytes + sent, size - sent);
        if (taken < 0) break;
        sent += static_cast<size_t>(taken);
        if (taken == 0 && rv_socket_wait(s, 0, stalled_ms) <= 0) break;
    }
    return sent == 0 && size > 0 ? -1 : static_cast<ssize_t>(sent);
}
