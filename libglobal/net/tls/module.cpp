// librv_tls.so: TLS for the client, by OpenSSL. The peer's certificate is always verified, against the system's trust
// store (SSL_CERT_FILE and SSL_CERT_DIR are honoured) and against the host's name or address.
#include <arpa/inet.h>
#include <errno.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>

#include "libglobal/net/secure.h"

namespace rv {

struct TlsStream {
    int fd;
    SSL *ssl;
};

namespace {

// A BIO of our own, because OpenSSL's writes with write() and would raise SIGPIPE.
int fd_of(BIO *bio) {
    return static_cast<const TlsStream *>(BIO_get_data(bio))->fd;
}

bool would_block() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

int bio_write(BIO *bio, const char *data, size_t size, size_t *written) {
    BIO_clear_retry_flags(bio);
    const ssize_t n = send(fd_of(bio), data, size, MSG_NOSIGNAL);
    if (n < 0 && would_block()) BIO_set_retry_write(bio);
    *written = n > 0 ? static_cast<size_t>(n) : 0;
    return n > 0;
}

int bio_read(BIO *bio, char *data, size_t size, size_t *got) {
    BIO_clear_retry_flags(bio);
    const ssize_t n = recv(fd_of(bio), data, size, 0);
    if (n < 0 && would_block()) BIO_set_retry_read(bio);
    *got = n > 0 ? static_cast<size_t>(n) : 0;
    return n > 0;
}

long bio_ctrl(BIO *, int command, long, void *) {
    return command == BIO_CTRL_FLUSH ? 1 : 0;
}

BIO *new_bio(TlsStream *stream) {
    static BIO_METHOD *method;
    if (!method) {
        method = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "socket without SIGPIPE");
        if (!method) return nullptr;
        BIO_meth_set_write_ex(method, bio_write);
        BIO_meth_set_read_ex(method, bio_read);
        BIO_meth_set_ctrl(method, bio_ctrl);
    }
    BIO *bio = BIO_new(method);
    if (!bio) return nullptr;
    BIO_set_data(bio, stream);
    BIO_set_init(bio, 1);
    return bio;
}

void tell(char *reason, size_t size, const char *text) {
    snprintf(reason, size, "%s", text);
}

void tell_openssl(char *reason, size_t size, const char *otherwise) {
    const char *text = ERR_reason_error_string(ERR_peek_last_error());
    tell(reason, size, text ? text : otherwise);
}

SSL_CTX *context() {
    static SSL_CTX *ready;
    if (ready) return ready;
    SSL_CTX *ctx = SSL_CTX_new(TLS_client_method());
    if (!ctx) return nullptr;
    SSL_CTX_set_verify(ctx, SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set_mode(ctx, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_CTX_set_options(ctx, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
    if (SSL_CTX_set_min_proto_version(ctx, TLS1_2_VERSION) != 1 || SSL_CTX_set_default_verify_paths(ctx) != 1) {
        SSL_CTX_free(ctx);
        return nullptr;
    }
    ready = ctx;
    return ready;
}

// An address is matched with the addresses of the certificate, every other text with its names.
bool expect_host(SSL *ssl, const char *host) {
    char address[INET6_ADDRSTRLEN + 1];
    snprintf(address, sizeof address, "%.*s", static_cast<int>(strcspn(host, "%")), host);
    unsigned char ignored[sizeof(in6_addr)];
    if (inet_pton(AF_INET, address, ignored) == 1 || inet_pton(AF_INET6, address, ignored) == 1)
        return X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl), address) == 1;
    SSL_set_hostflags(ssl, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    return SSL_set1_host(ssl, host) == 1 && SSL_set_tlsext_host_name(ssl, host) == 1;
}

TlsStream *start(int fd, const char *host, char *reason, size_t size) {
    ERR_clear_error();
    auto *stream = new TlsStream{.fd = fd, .ssl = context() ? SSL_new(context()) : nullptr};
    BIO *bio = stream->ssl ? new_bio(stream) : nullptr;
    if (!bio || !expect_host(stream->ssl, host)) {
        tell_openssl(reason, size, "out of memory");
        BIO_free(bio);
        SSL_free(stream->ssl);
        delete stream;
        return nullptr;
    }
    SSL_set_bio(stream->ssl, bio, bio);
    SSL_set_connect_state(stream->ssl);
    return stream;
}

// What a failed operation needs to go on: poll() events, or 0 when it can't.
short events_for(const SSL *ssl, int result) {
    switch (SSL_get_error(ssl, result)) {
        case SSL_ERROR_WANT_READ:
            return POLLIN;
        case SSL_ERROR_WANT_WRITE:
            return POLLOUT;
        default:
            return 0;
    }
}

int handshake(TlsStream *stream, short *wanted, char *reason, size_t size) {
    ERR_clear_error();
    const int result = SSL_do_handshake(stream->ssl);
    if (result == 1) return 1;
    *wanted = events_for(stream->ssl, result);
    if (*wanted) return 0;
    const long verified = SSL_get_verify_result(stream->ssl);
    if (verified != X509_V_OK)
        tell(reason, size, X509_verify_cert_error_string(verified));
    else
        tell_openssl(reason, size, "the peer closed the connection");
    return -1;
}

ssize_t send_some(TlsStream *stream, const char *data, size_t size, short *wanted) {
    ERR_clear_error();
    size_t sent = 0;
    const int result = SSL_write_ex(stream->ssl, data, size, &sent);
    if (result == 1) return static_cast<ssize_t>(sent);
    *wanted = events_for(stream->ssl, result);
    return *wanted ? 0 : -1;
}

ssize_t receive_some(TlsStream *stream, char *data, size_t size, short *wanted) {
    ERR_clear_error();
    size_t got = 0;
    const int result = SSL_read_ex(stream->ssl, data, size, &got);
    if (result == 1) return static_cast<ssize_t>(got);
    *wanted = events_for(stream->ssl, result);
    return *wanted ? 0 : -1;
}

size_t pending(const TlsStream *stream) {
    return static_cast<size_t>(SSL_pending(stream->ssl));
}

void stop(TlsStream *stream) {
    ERR_clear_error();
    if (SSL_is_init_finished(stream->ssl)) SSL_shutdown(stream->ssl);
    SSL_free(stream->ssl);
    delete stream;
}

}  // namespace

}  // namespace rv

extern "C" {
__attribute__((visibility("default"))) extern const rv::TlsModule rv_tls_module;
const rv::TlsModule rv_tls_module = {
    .version = rv::tls_module_version,
    .start = rv::start,
    .handshake = rv::handshake,
    .send = rv::send_some,
    .receive = rv::receive_some,
    .pending = rv::pending,
    .stop = rv::stop,
};
}
