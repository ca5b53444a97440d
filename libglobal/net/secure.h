// The secure layer. It lives in a module, librv_tls.so, that is loaded the first time it is asked for, so that a
// client without it never maps the TLS library. Module and client share the table below.
#pragma once

#include <cstddef>

#include <sys/types.h>

namespace rv {

struct TlsStream;  // one TLS connection; the module's own

// What the module exports under tls_module_symbol. None of these waits or prints; none raises SIGPIPE.
// *wanted is set to the poll() events that the operation needs to go on.
struct TlsModule {
    int version;  // tls_module_version
    // A client's stream over the connected descriptor fd (borrowed). host is the name or address that the peer's
    // certificate must be made out for. Null: failed, with the reason (a text that ends in NUL).
    TlsStream *(*start)(int fd, const char *host, char *reason, size_t reason_size);
    // 1 = the peer is verified, 0 = would block, -1 = failed, with the reason.
    int (*handshake)(TlsStream *stream, short *wanted, char *reason, size_t reason_size);
    // Bytes taken, 0 = would block (repeat with the same bytes first), -1 = the connection is lost.
    ssize_t (*send)(TlsStream *stream, const char *data, size_t size, short *wanted);
    ssize_t (*receive)(TlsStream *stream, char *data, size_t size, short *wanted);
    // Bytes that receive() would give without reading from the descriptor.
    size_t (*pending)(const TlsStream *stream);
    // Says good-bye where that is possible at once, and frees the stream; the descriptor stays open.
    void (*stop)(TlsStream *stream);
};

inline constexpr int tls_module_version = 1;
inline constexpr char tls_module_symbol[] = "rv_tls_module";

// The module, loaded; null when it can't be, with the reason noted.
const TlsModule *tls_module();

// Why the secure layer failed last: what rv_socket_strerror() adds to its text. "" for nothing.
void note_tls_reason(const char *reason);
const char *tls_reason();

}  // namespace rv
