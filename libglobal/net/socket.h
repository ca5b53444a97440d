// A socket to the daemon, in clear or in TLS, that never blocks and never raises SIGPIPE. Opening it goes step by
// step, so that it can be waited for, served beside other things, or abandoned between any two steps.
#pragma once

#include <cstddef>
#include <cstdint>

#include <netdb.h>
#include <poll.h>
#include <sys/types.h>

#include "libglobal/net/destination.h"
#include "rv/socket.h"
#include "rv/wait.h"

namespace rv {
struct Lookup;
struct TlsStream;
enum class SocketStage { closed, looking_up, connecting, handshaking, open };
}  // namespace rv

struct rv_socket {
    int kind = RV_SOCKET_NONE;
    int fd = -1;
    rv::SocketStage stage = rv::SocketStage::closed;
    bool secure = false;
    rv::TlsStream *tls = nullptr;
    // What the last step or transfer that would have blocked waits for. Opening also goes on at again_at.
    pollfd wanted{.fd = -1, .events = 0, .revents = 0};
    int64_t again_at = RV_NO_DEADLINE;
    // While it is being opened.
    const rv::Destination *destination = nullptr;
    rv::Lookup *lookup = nullptr;
    addrinfo *addresses = nullptr;
    const addrinfo *address = nullptr;  // the one being tried
};

namespace rv {

// Begins to open s; what was open is closed. destination is borrowed until s is open or closed. deadline divides the
// time among the addresses of a host. Results as socket_step().
int socket_begin(rv_socket &s, const Destination &destination, bool secure, int64_t deadline);
// Goes on as far as possible without waiting. Returns 0 when open, 1 when s.wanted has to be waited for, or a socket
// error, with s closed.
int socket_step(rv_socket &s, int64_t deadline);
// Begins, and waits until s is open or the deadline has come. Returns 0 or a socket error, with s closed.
int socket_open(rv_socket &s, const Destination &destination, bool secure, int64_t deadline);
// Closes s and ends what is under way; its kind stays.
void socket_close(rv_socket &s);

// Bytes taken or read (at least 1); 0 when it would block (see s.wanted); RV_SOCKET_ERR_LOST when the peer has closed
// or the connection failed. Bytes that would have blocked in TLS must be offered again first, and unchanged.
ssize_t socket_send(rv_socket &s, const char *data, size_t size);
ssize_t socket_receive(rv_socket &s, char *data, size_t size);
// Bytes that wait inside TLS, where poll() can't see them.
size_t socket_pending(const rv_socket &s);

// Waits for one descriptor. Returns 0 when it is ready, RV_SOCKET_ERR_TIMEOUT at the deadline, RV_SOCKET_ERR_NOTHING
// after a signal, or the system's error.
int wait_for(pollfd *wanted, int64_t deadline);

}  // namespace rv
