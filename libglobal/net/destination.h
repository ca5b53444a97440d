// Destination texts: "tcp://HOST:PORT", with an IPv6 host in brackets, or the path of a UNIX socket. Client and daemon
// read them alike.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "rv/socket.h"

namespace rv {

struct Destination {
    int kind = RV_SOCKET_NONE;  // RV_SOCKET_TCP, RV_SOCKET_UNIX, or RV_SOCKET_NONE when the text was not understood
    std::string host;           // TCP: a name or an address, without brackets
    uint16_t port = 0;          // TCP
    std::string path;           // UNIX: fits a socket address
};

// Whether port 0 is taken: to listen, it means any free port.
enum class PortZero { refused, taken };

// Reads text into *out. Returns 0; RV_SOCKET_ERR_DESTINATION for an empty text and for one that begins with "tcp://"
// and is none; RV_SOCKET_ERR_OS - ENAMETOOLONG for a path that does not fit a socket address. A failure leaves *out
// with the kind RV_SOCKET_NONE, but a path that is too long has RV_SOCKET_UNIX.
int parse_destination(std::string_view text, PortZero zero, Destination *out);

}  // namespace rv
