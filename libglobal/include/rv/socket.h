// The socket under a daemon connection, the numbers of what can go wrong with it, and server sockets. Nothing here
// prints.
#pragma once

#include <stddef.h>
#include <sys/socket.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct rv_socket rv_socket;

// Kinds of sockets, as rv_socket_type() gives them. Only RV_SOCKET_UNIX vouches for who the peer is.
enum { RV_SOCKET_NONE = 0, RV_SOCKET_TCP = 1, RV_SOCKET_UNIX = 2 };

// Socket errors. 0 is none; RV_SOCKET_ERR_OS - errno is the operating system's own error.
enum {
    RV_SOCKET_ERR_HOST = -3,         // host name not found
    RV_SOCKET_ERR_DESTINATION = -4,  // destination text not understood
    RV_SOCKET_ERR_TLS = -5,          // TLS handshake or verification failed
    RV_SOCKET_ERR_LOST = -6,         // lost after the request was handed over: its outcome is unknown
    RV_SOCKET_ERR_CLOSED = -7,       // found closed before anything of the request was handed over: safe to repeat
    RV_SOCKET_ERR_TIMEOUT = -8,      // timed out
    RV_SOCKET_ERR_TOO_LARGE = -9,    // message too large
    RV_SOCKET_ERR_GARBAGE = -10,     // the daemon sent something that is no message
    RV_SOCKET_ERR_NOTHING = -13,     // interrupted, or nothing there to receive
    RV_SOCKET_ERR_OS = -1000
};

// The descriptor, or -1 while the socket is not open. Borrowed: never close it. Takes a null socket.
int rv_socket_fd(const rv_socket *s);

// RV_SOCKET_UNIX or RV_SOCKET_TCP, also before it is open; RV_SOCKET_NONE for a null socket or a
// destination that was not understood.
int rv_socket_type(const rv_socket *s);

// The text of a socket error, never null; the operating system's own text where the number is one of its own.
// For RV_SOCKET_ERR_TLS it names the last reason. Borrowed: valid until the next call.
const char *rv_socket_strerror(int err);

// The address that an open socket has on this side, resp. that its peer has. Return 0, or -1 with *address untouched.
int rv_socket_get_addr(const rv_socket *s, struct sockaddr_storage *address);
int rv_socket_get_peer(const rv_socket *s, struct sockaddr_storage *address);
// The size in bytes that an address of its family has: 16 for IPv4, 28 for IPv6; 0 for every other one.
socklen_t rv_socket_addrsize(const struct sockaddr_storage *address);

// Server sockets, for a thread of their own: their calls share nothing, and those that wait leave the thread's signals
// as they are (unlike rv/wait.h). Failures are told by -1 or null, with errno.

// A new TCP socket; family is 4, for IPv4. rv_socket_free() closes and frees it; it takes null.
rv_socket *rv_socket_new(int family);
void rv_socket_free(rv_socket *s);
int rv_socket_bind(rv_socket *s, const struct sockaddr_storage *address, socklen_t size);
int rv_socket_listen(rv_socket *s, int backlog);
// Waits until there is something to read (1: to accept), or to write (0), or until the peer has gone: at most
// timeout_ms milliseconds, -1 = no limit. Returns 1, or 0 when the time was up.
int rv_socket_wait(const rv_socket *s, int read, int timeout_ms);
// The next connection, new; null when there is none.
rv_socket *rv_socket_accept(rv_socket *s);
// Sends all of data. Returns size, fewer when the connection or reading data failed meanwhile, -1 when nothing was
// sent. Raises no SIGPIPE. A peer that takes nothing for 60 s counts as gone.
ssize_t rv_socket_send(rv_socket *s, const void *data, size_t size);

#ifdef __cplusplus
}
#endif
