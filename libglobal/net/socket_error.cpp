// The public side of a socket: what it is, and what its errors are called.
#include <stdio.h>
#include <string.h>

#include "libglobal/net/secure.h"
#include "libglobal/net/socket.h"

namespace {

constexpr struct {
    int number;
    const char *text;
} error_texts[] = {
    {0, "No error"},
    {RV_SOCKET_ERR_HOST, "Host name not found"},
    {RV_SOCKET_ERR_DESTINATION, "Destination not understood"},
    {RV_SOCKET_ERR_TLS, "TLS handshake or verification failed"},
    {RV_SOCKET_ERR_LOST, "Connection lost, outcome unknown"},
    {RV_SOCKET_ERR_CLOSED, "Connection closed"},
    {RV_SOCKET_ERR_TIMEOUT, "Timed out"},
    {RV_SOCKET_ERR_TOO_LARGE, "Message too large"},
    {RV_SOCKET_ERR_GARBAGE, "The daemon sent something that is no message"},
    {RV_SOCKET_ERR_NOTHING, "Interrupted"},
};

const char *tls_text(const char *text) {
    static char whole[320];
    if (!rv::tls_reason()[0]) return text;
    snprintf(whole, sizeof whole, "%s: %s", text, rv::tls_reason());
    return whole;
}

}  // namespace

int rv_socket_fd(const rv_socket *s) {
    return s && s->stage == rv::SocketStage::open ? s->fd : -1;
}

int rv_socket_type(const rv_socket *s) {
    return s ? s->kind : RV_SOCKET_NONE;
}

const char *rv_socket_strerror(int err) {
    if (err <= RV_SOCKET_ERR_OS) return strerror(RV_SOCKET_ERR_OS - err);
    for (const auto &row : error_texts)
        if (row.number == err) return err == RV_SOCKET_ERR_TLS ? tls_text(row.text) : row.text;
    return "Unknown error";
}
