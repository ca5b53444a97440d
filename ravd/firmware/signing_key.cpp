// Ed25519 by OpenSSL.
#include "ravd/firmware/signing_key.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <openssl/err.h>
#include <openssl/pem.h>

namespace ravd {

std::string SigningKey::load(const std::string &file) {
    const std::unique_ptr<FILE, int (*)(FILE *)> opened(fopen(file.c_str(), "re"), fclose);
    if (!opened) return file + ": " + strerror(errno);
    key_.reset(PEM_read_PUBKEY(opened.get(), nullptr, nullptr, nullptr));
    ERR_clear_error();
    if (key_ && EVP_PKEY_get_base_id(key_.get()) == EVP_PKEY_ED25519) return "";
    key_.reset();
    return file + ": no public Ed25519 key in PEM";
}

bool SigningKey::verifies(std::string_view text, std::string_view signature) const {
    if (!key_) return false;
    const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX *)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    const auto bytes = [](std::string_view from) { return reinterpret_cast<const unsigned char *>(from.data()); };
    const bool good =
        context && EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, key_.get()) == 1 &&
        EVP_DigestVerify(context.get(), bytes(signature), signature.size(), bytes(text), text.size()) == 1;
    ERR_clear_error();
    return good;
}

}  // namespace ravd
