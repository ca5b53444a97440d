// connect() that is not waited for.
#include "ravd/transfer/connect.h"

#include <cerrno>
#include <cstring>

#include <sys/socket.h>

#include "ravd/transfer/address.h"

namespace ravd {

namespace {

bool is_address_of(const Peer &peer, const in_addr &address) {
    return peer.reached_at != INADDR_ANY && memcmp(peer.address.data(), &address, sizeof address) == 0;
}

// Returns false with errno set.
bool come_from(int socket, in_addr_t own) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = own;
    return bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

}  // namespace

Descriptor connect_netcat(const std::string &url, const Peer &peer, Fault &fault) {
    const auto address = netcat_address(url);
    if (!address) {
        fault = {9003, "URL: not netcat://a.b.c.d:port", {}};
        return Descriptor();
    }
    Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const auto *where = reinterpret_cast<const sockaddr *>(&*address);
    if (!socket || (is_address_of(peer, address->sin_addr) && !come_from(socket.get(), peer.reached_at)) ||
        (connect(socket.get(), where, sizeof *address) != 0 && errno != EINPROGRESS)) {
        fault = {9015, strerror(errno), {}};
        socket.reset();
    }
    return socket;
}

}  // namespace ravd
