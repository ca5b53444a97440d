// The socket under a daemon connection, and the numbers of what can go wrong with it.
#pragma once

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

#ifdef __cplusplus
}
#endif
