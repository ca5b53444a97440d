// connect() that is not waited for.
#include "ravd/transfer/connect.h"

#include <cerrno>
#include <cstring>

#include <sys/socket.h>

#include "ravd/transfer/address.h"

namespace ravd {

Descriptor connect_netcat(const std::string &url, Fault &fault) {
    const auto address = netcat_address(url);
    if (!address) {
        fault = {9003, "URL: not netcat://a.b.c.d:port", {}};
        return Descriptor();
    }
    Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const auto *where = reinterpret_cast<const sockaddr *>(&*address);
    if (!socket || (connect(socket.get(), where, sizeof *address) != 0 && errno != EINPROGRESS)) {
        fault = {9015, strerror(errno), {}};
        socket.reset();
    }
    return socket;
}

}  // namespace ravd
