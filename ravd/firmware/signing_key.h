// The public key that firmware must be signed with.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <openssl/evp.h>

namespace ravd {

constexpr size_t signature_size = 64;  // bytes, Ed25519

class SigningKey {
 public:
    // Reads a public Ed25519 key, PEM. Returns an empty text, or "<file>: <reason>".
    std::string load(const std::string &file);
    bool is_loaded() const { return key_ != nullptr; }
    // Whether the signature over the text was made with the key. False without a key. May be called on any thread.
    bool verifies(std::string_view text, std::string_view signature) const;

 private:
    struct Release {
        void operator()(EVP_PKEY *key) const { EVP_PKEY_free(key); }
    };
    std::unique_ptr<EVP_PKEY, Release> key_;
};

}  // namespace ravd
