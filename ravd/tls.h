// The daemon's side of TLS: its certificate and key.
#pragma once

#include <memory>
#include <string>

#include <openssl/ssl.h>

namespace ravd {

struct TlsRelease {
    void operator()(SSL_CTX *context) const { SSL_CTX_free(context); }
};
using TlsContext = std::unique_ptr<SSL_CTX, TlsRelease>;

// TLS 1.2 or newer with the certificate chain and the private key of two PEM files. On failure returns null and sets
// error to "<file>: <reason>".
TlsContext load_tls(const std::string &certificate, const std::string &key, std::string &error);

}  // namespace ravd
