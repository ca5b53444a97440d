// Connections to the daemon: JSON-RPC 2.0, one message a line, over a UNIX or TCP socket, in clear or in TLS.
//
// A connection keeps what it needs to go on after it was abandoned in the middle of something: bytes of a message
// that has arrived in part, bytes of a request that has left in part, and events that came in while a reply was
// awaited. Nothing here prints but rv_jrpcapi_show_events().
//
// Every call that waits lets SIGINT in while it waits and only then (see rv/wait.h); a handler may jump out of it.
// A call that a signal interrupted ends with RV_SOCKET_ERR_NOTHING.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "rv/jrpcmsg.h"
#include "rv/socket.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct rv_jrpcapi rv_jrpcapi;

// Flag bits of a connection.
enum {
    RV_JRPCAPI_RELOGIN = 1,  // log in again, as last time, when the connection has to be made again
    RV_JRPCAPI_EVENTS = 2,   // this connection receives the session's events
    RV_JRPCAPI_TLS = 8       // the secure layer
};

// A new connection to the default destination, /var/run/ravd.sock, not yet open; 5000 ms time-out.
rv_jrpcapi *rv_jrpcapi_init(void);
// Closes and frees it; wipes the password that it holds for logging in again. Takes null.
void rv_jrpcapi_deinit(rv_jrpcapi *c);

// Where to connect to: "tcp://HOST:PORT" (an IPv6 host in brackets) or the path of a UNIX socket. host is not used
// and may be null or ""; kind is 2. Closes what was open. Returns 0, or a socket error that connecting will repeat
// (RV_SOCKET_ERR_DESTINATION; the system's ENAMETOOLONG for a path that does not fit a socket address).
int rv_jrpcapi_set_destination(rv_jrpcapi *c, const char *host, const char *path, int kind);
// Milliseconds for each following exchange; -1 = no limit, 0 = only what is there already.
void rv_jrpcapi_set_timeout(rv_jrpcapi *c, int ms);
int rv_jrpcapi_get_timeout(const rv_jrpcapi *c);
int rv_jrpcapi_get_flags(const rv_jrpcapi *c);
void rv_jrpcapi_set_flags(rv_jrpcapi *c, int flags);

// Connects, within 5000 ms, whatever the time-out; does nothing when connected. Returns 0 or a socket error.
int rv_jrpcapi_connect(rv_jrpcapi *c);
// Borrowed; never null.
const rv_socket *rv_jrpcapi_socket(const rv_jrpcapi *c);
// How the last operation on the connection ended: 0, or a socket error (see rv/socket.h).
int rv_jrpcapi_get_socket_err(const rv_jrpcapi *c);

// Sends the request in msg and waits for its reply, which replaces the request in msg; connects first where that
// is needed, and then logs in and joins the groups again before the request goes out.
// One deadline holds for all of it. Returns 0 when a reply was received, an error reply included, else a negative
// socket error, with msg an error reply that carries the error's number and text. msg can be executed again: the
// request is kept beside the reply.
int rv_jrpcapi_exec(rv_jrpcapi *c, rv_jrpcmsg *msg);
// Sends msg, a reply that it was made from included, without waiting for an answer. Returns 0 or a negative socket
// error.
int rv_jrpcapi_send(rv_jrpcapi *c, rv_jrpcmsg *msg);
// The next incoming message, which the caller frees: one that is kept from before, or one that arrives within the
// time-out. Null when there is none, with the socket error RV_SOCKET_ERR_TIMEOUT (nothing came),
// RV_SOCKET_ERR_NOTHING (interrupted, or only a part of a message has come so far) or what ended the connection.
rv_jrpcmsg *rv_jrpcapi_recv(rv_jrpcapi *c);
// The same for events of these groups alone: all else that arrives is kept, in its order, for rv_jrpcapi_recv().
rv_jrpcmsg *rv_jrpcapi_recv_event(rv_jrpcapi *c, const uint32_t *groups, size_t count);
// 1 when rv_jrpcapi_recv() has a whole message to give without reading from the socket, or when bytes wait where
// poll() can't see them (inside TLS); else 0.
int rv_jrpcapi_pending(const rv_jrpcapi *c);

// Logs in by user and password (null: as the local peer). On success sets RV_JRPCAPI_RELOGIN and remembers both for
// logging in again. Returns 0; the error reply's code when refused; a negative socket error when not asked at all.
int rv_jrpcapi_login(rv_jrpcapi *c, const char *user, const char *password);
// Logs out and forgets what was remembered for logging in. Results as rv_jrpcapi_login().
int rv_jrpcapi_logout(rv_jrpcapi *c);
// Presents a token, "" to drop it; it is presented again after a reconnect. flags and flags2 are 0.
// timeout_ms holds for this exchange alone. Results as rv_jrpcapi_login().
int rv_jrpcapi_set_auth(rv_jrpcapi *c, int flags, const char *token, int flags2, int timeout_ms);

// From now on, whenever the program waits in this library (rv_sleep_ms), events of the count groups that arrive on c
// are printed to standard output and flushed, each as "\nEVENT <group>:\n" and its params, indented by 4. Should the
// daemon go, c connects again with pauses that grow from 100 ms to 5 s. groups is copied. count 0 ends it.
void rv_jrpcapi_show_events(rv_jrpcapi *c, const uint32_t *groups, size_t count);

#ifdef __cplusplus
}
#endif
