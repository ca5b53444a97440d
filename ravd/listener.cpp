// Accepting, also when descriptors have run out: then a peer is accepted on the spare one and closed at once, since a
// connection left waiting would wake the loop for ever.
#include "ravd/listener.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "ravd/identity.h"
#include "ravd/log.h"

namespace ravd {

namespace {

constexpr int backlog = 511;
constexpr int accepts_a_turn = 16;
constexpr int new_socket_flags = SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC;

int fail(int fd, const std::string &name, const std::string &reason, std::string &error) {
    error = name + ": " + reason;
    if (fd >= 0) close(fd);
    return -1;
}

// Clears the way for a new socket file. Returns an empty text, or why it can't.
std::string remove_stale(const std::string &path, const sockaddr_un &address) {
    struct stat file = {};
    if (lstat(path.c_str(), &file) != 0) return errno == ENOENT ? "" : strerror(errno);
    if (!S_ISSOCK(file.st_mode)) return "exists and is no socket";
    const int probe = socket(AF_UNIX, new_socket_flags, 0);
    if (probe < 0) return strerror(errno);
    const int result = connect(probe, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    const int reason = errno;
    close(probe);
    if (result == 0 || reason == EAGAIN) return "another process answers on this socket";
    if (reason != ECONNREFUSED) return strerror(reason);
    if (unlink(path.c_str()) != 0) return strerror(errno);
    return "";
}

int open_tcp_socket(const addrinfo &where, std::string &reason) {
    const int fd = socket(where.ai_family, new_socket_flags, 0);
    const int on = 1;
    if (fd >= 0) {
        setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        if (where.ai_family == AF_INET6) setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
        if (bind(fd, where.ai_addr, where.ai_addrlen) == 0 && listen(fd, backlog) == 0) return fd;
    }
    reason = strerror(errno);
    if (fd >= 0) close(fd);
    return -1;
}

void set_tcp_options(int fd) {
    const int on = 1, idle_seconds = 60, lost_ms = 120000;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    setsockopt(fd, IPPROTO_TCP, TCP_KEEPIDLE, &idle_seconds, sizeof idle_seconds);
    setsockopt(fd, IPPROTO_TCP, TCP_USER_TIMEOUT, &lost_ms, sizeof lost_ms);
}

int open_spare() {
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

// The address of this side of a connection; INADDR_ANY where it is none of IPv4.
in_addr_t own_ipv4_address(int fd) {
    sockaddr_storage address = {};
    socklen_t size = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size);
    if (address.ss_family != AF_INET) return INADDR_ANY;
    return reinterpret_cast<const sockaddr_in &>(address).sin_addr.s_addr;
}

}  // namespace

int open_local_socket(const std::string &path, std::string &error) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) return fail(-1, path, "path too long", error);
    memcpy(address.sun_path, path.c_str(), path.size() + 1);
    if (const std::string reason = remove_stale(path, address); !reason.empty()) return fail(-1, path, reason, error);
    const int fd = socket(AF_UNIX, new_socket_flags, 0);
    if (fd < 0) return fail(fd, path, strerror(errno), error);
    const mode_t before = umask(0117);
    const int bound = bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    const int reason = errno;
    umask(before);
    if (bound != 0) return fail(fd, path, strerror(reason), error);
    if (listen(fd, backlog) != 0) return fail(fd, path, strerror(errno), error);
    return fd;
}

std::vector<int> open_tcp_sockets(const std::string &host, uint16_t port, std::string &error) {
    const std::string name = "tcp://" + host + ":" + std::to_string(port);
    addrinfo wanted = {};
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo *list = nullptr;
    if (const int failed = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &wanted, &list); failed != 0) {
        error = name + ": " + gai_strerror(failed);
        return {};
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> release(list, freeaddrinfo);
    std::vector<int> sockets;
    std::string reason;
    for (const addrinfo *each = list; each != nullptr; each = each->ai_next) {
        const int fd = open_tcp_socket(*each, reason);
        if (fd >= 0) sockets.push_back(fd);
    }
    if (sockets.empty()) error = name + ": " + reason;
    return sockets;
}

std::string tcp_name(const sockaddr_storage &address) {
    char host[NI_MAXHOST] = "?", port[NI_MAXSERV] = "?";
    getnameinfo(reinterpret_cast<const sockaddr *>(&address), sizeof address, host, sizeof host, port, sizeof port,
                NI_NUMERICHOST | NI_NUMERICSERV);
    const bool brackets = address.ss_family == AF_INET6;
    return std::string(brackets ? "tcp://[" : "tcp://") + host + (brackets ? "]:" : ":") + port;
}

std::array<uint8_t, 16> address_key(const sockaddr_storage &address) {
    std::array<uint8_t, 16> key = {};
    if (address.ss_family == AF_INET6) {
        constexpr size_t network = 8;
        memcpy(key.data(), &reinterpret_cast<const sockaddr_in6 &>(address).sin6_addr, network);
        key.back() = 6;
    } else {
        memcpy(key.data(), &reinterpret_cast<const sockaddr_in &>(address).sin_addr, sizeof(in_addr));
        key.back() = 4;
    }
    return key;
}

Listener::Listener(event_base *base, int fd, Transport transport, Accepted accepted)
    : base_(base), fd_(fd), transport_(transport), accepted_(std::move(accepted)), spare_(open_spare()) {
    ready_ = event_new(
        base_, fd_, EV_READ | EV_PERSIST,
        [](evutil_socket_t, short, void *self) { static_cast<Listener *>(self)->accept_some(); }, this);
    resume_ = event_new(
        base_, -1, 0,
        [](evutil_socket_t, short, void *self) { event_add(static_cast<Listener *>(self)->ready_, nullptr); }, this);
    event_add(ready_, nullptr);
}

Listener::~Listener() {
    event_free(ready_);
    event_free(resume_);
    if (fd_ >= 0) close(fd_);
    if (spare_ >= 0) close(spare_);
}

int Listener::release() {
    event_del(ready_);
    event_del(resume_);
    return std::exchange(fd_, -1);
}

void Listener::accept_some() {
    for (int n = 0; n < accepts_a_turn && fd_ >= 0 && accept_one(); ++n) {
    }
}

// Returns false when there is nothing to accept for now.
bool Listener::accept_one() {
    sockaddr_storage address = {};
    socklen_t size = sizeof address;
    const int fd = accept4(fd_, reinterpret_cast<sockaddr *>(&address), &size, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
        if (errno == EMFILE || errno == ENFILE) return turn_away();
        if (errno == ENOBUFS || errno == ENOMEM) pause();
        return errno == ECONNABORTED || errno == EINTR;
    }
    Peer peer;
    peer.transport = transport_;
    if (transport_ == Transport::tcp) {
        peer.address = address_key(address);
        peer.reached_at = own_ipv4_address(fd);
        set_tcp_options(fd);
    } else if (!identify_local(fd, peer)) {
        close(fd);
        return true;
    }
    accepted_(fd, peer);
    return true;
}

// Returns false when there is nothing to turn away, which the lack of descriptors hides from an ordinary accept.
bool Listener::turn_away() {
    if (spare_ >= 0) close(spare_);
    const int fd = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
    const bool nobody = fd < 0 && errno == EAGAIN;
    if (fd >= 0) {
        close(fd);
        log_debug("no descriptor is left: a connection is turned away");
    }
    spare_ = open_spare();
    if ((fd < 0 && !nobody) || spare_ < 0) pause();
    return fd >= 0 && spare_ >= 0;
}

// The system has nothing left to accept with: asking again at once would only burn the processor.
void Listener::pause() {
    constexpr timeval pause_time = {1, 0};
    event_del(ready_);
    event_add(resume_, &pause_time);
}

}  // namespace ravd
