// A socket for ICMP echo requests to one address: the system's unprivileged kind where it allows that, else a raw one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include <sys/socket.h>

namespace ravd {

struct SocketAddress {
    sockaddr_storage storage = {};
    socklen_t size = 0;

    bool is_v6() const { return storage.ss_family == AF_INET6; }
    // Without port or scope: "192.0.2.1", "2001:db8::1".
    std::string text() const;
};

class EchoSocket {
 public:
    // What came back for a request.
    struct Answer {
        enum class Kind { reply, time_exceeded, unreachable } kind;
        uint16_t sequence;
        SocketAddress from;  // who says so
    };

    EchoSocket() = default;
    ~EchoSocket();
    EchoSocket(const EchoSocket &) = delete;
    EchoSocket &operator=(const EchoSocket &) = delete;

    // Opens it for requests to destination. Returns false when the system does not allow it.
    bool open(const SocketAddress &destination);
    int fd() const { return fd_; }

    bool set_hops(int hops);
    bool set_traffic_class(int value);
    // Sends one request with size bytes of data. Returns false with errno when it could not leave.
    bool send(uint16_t sequence, size_t size);
    // The next answer that is there; nothing when none is. What belongs to others is passed over.
    std::optional<Answer> receive();

 private:
    std::optional<Answer> receive_reply(bool &more);
    std::optional<Answer> receive_error(bool &more);

    int fd_ = -1;
    bool raw_ = false;
    uint16_t identifier_ = 0;  // of raw requests; else the system's own
    SocketAddress destination_;
};

}  // namespace ravd
