// The sockets that ravd is reached at: opened, and their connections accepted.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <event2/event.h>
#include <sys/socket.h>

#include "ravd/peer.h"

namespace ravd {

// All sockets are non-blocking and closed on exec. On failure these return -1 resp. an empty list and set error to
// "<name>: <reason>".

// Binds and listens at a path, mode 0660. A socket file on which nobody answers is replaced; a live one, or a file
// that is no socket, is an error.
int open_local_socket(const std::string &path, std::string &error);
// Listens on every address of the host that this machine has. Port 0: the system chooses.
std::vector<int> open_tcp_sockets(const std::string &host, uint16_t port, std::string &error);

// "tcp://HOST:PORT" of a bound or accepted address, an IPv6 host in brackets.
std::string tcp_name(const sockaddr_storage &address);
// The address as far as limits tell peers apart: IPv6 by its /64 network. The last byte is 4 or 6, for its family.
std::array<uint8_t, 16> address_key(const sockaddr_storage &address);

// Accepts connections of one listening socket.
class Listener {
 public:
    // Gets an accepted, non-blocking descriptor, which it takes, and where it came from.
    using Accepted = std::function<void(int fd, const Peer &peer)>;

    // Takes fd.
    Listener(event_base *base, int fd, Transport transport, Accepted accepted);
    ~Listener();
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    // Accepts no more, and gives the socket away; who connects from here on waits in its queue.
    int release();

 private:
    void accept_some();
    bool accept_one();
    bool turn_away();
    void pause();

    event_base *base_;
    int fd_;
    Transport transport_;
    Accepted accepted_;
    event *ready_;
    event *resume_;
    int spare_;  // given up for a moment when descriptors run out, so that who knocks can be turned away
};

}  // namespace ravd
