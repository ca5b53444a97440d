// Passwords by crypt(5).
#include "ravd/password.h"

#include <cstring>
#include <memory>

#include <crypt.h>
#include <openssl/crypto.h>

namespace ravd {

namespace {

struct WipedData {
    crypt_data data = {};
    ~WipedData() { explicit_bzero(&data, sizeof data); }
};

// Empty for a setting that is none.
std::string crypt_text(const std::string &password, const char *setting) {
    const auto work = std::make_unique<WipedData>();
    const char *hash = crypt_r(password.c_str(), setting, &work->data);
    return hash && *hash != '*' ? hash : "";
}

}  // namespace

std::string hash_password(const std::string &password, unsigned cost) {
    char setting[CRYPT_GENSALT_OUTPUT_SIZE];
    if (!crypt_gensalt_rn("$y$", cost, nullptr, 0, setting, sizeof setting)) return "";
    return crypt_text(password, setting);
}

bool verify_password(const std::string &password, const std::string &hash) {
    if (hash.empty()) return false;
    const std::string own = crypt_text(password, hash.c_str());
    return own.size() == hash.size() && CRYPTO_memcmp(own.data(), hash.data(), hash.size()) == 0;
}

void wipe(std::string &text) {
    text.resize(text.capacity());
    OPENSSL_cleanse(text.data(), text.size());
    text.clear();
}

}  // namespace ravd
