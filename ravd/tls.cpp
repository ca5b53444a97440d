// Set-up of the TLS context that all connections share.
#include "ravd/tls.h"

#include <openssl/err.h>

namespace ravd {

namespace {

std::string last_reason() {
    const unsigned long code = ERR_peek_last_error();
    const char *reason = ERR_reason_error_string(code);
    ERR_clear_error();
    return reason != nullptr ? reason : "failed";
}

}  // namespace

TlsContext load_tls(const std::string &certificate, const std::string &key, std::string &error) {
    TlsContext context(SSL_CTX_new(TLS_server_method()));
    if (!context) {
        error = "TLS: " + last_reason();
        return nullptr;
    }
    SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
    SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_TICKET);
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    SSL_CTX_set_mode(context.get(), SSL_MODE_RELEASE_BUFFERS);
    if (SSL_CTX_use_certificate_chain_file(context.get(), certificate.c_str()) != 1) {
        error = certificate + ": " + last_reason();
        return nullptr;
    }
    if (SSL_CTX_use_PrivateKey_file(context.get(), key.c_str(), SSL_FILETYPE_PEM) != 1) {
        error = key + ": " + last_reason();
        return nullptr;
    }
    return context;
}

}  // namespace ravd
