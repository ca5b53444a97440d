// Bytes to a file.
#include "ravd/transfer/sink.h"

#include <cerrno>
#include <cstring>

#include <openssl/evp.h>
#include <strings.h>
#include <unistd.h>

#include "ravd/hex.h"

namespace ravd {

void Sink::FreeDigest::operator()(evp_md_ctx_st *context) const {
    EVP_MD_CTX_free(context);
}

Sink::Sink(int fd, uint64_t most) : fd_(fd), most_(most), digest_(EVP_MD_CTX_new()) {
    if (!digest_ || EVP_DigestInit_ex(digest_.get(), EVP_md5(), nullptr) != 1) fault_ = {9002, "no MD5 can be had", {}};
}

Sink::~Sink() = default;

bool Sink::take(std::string_view bytes) {
    if (fault_) return false;
    if (bytes.size() > most_ - bytes_) {
        fault_ = {9004, "the file is too large", {}};
        return false;
    }
    EVP_DigestUpdate(digest_.get(), bytes.data(), bytes.size());
    bytes_ += bytes.size();
    while (!bytes.empty()) {
        const ssize_t written = write(fd_, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) {
            fault_ = {9004, strerror(written < 0 ? errno : ENOSPC), {}};
            return false;
        }
        bytes.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

Fault Sink::verify(const std::string &md5, std::optional<uint64_t> size) {
    if (fault_) return fault_;
    if (size && *size != bytes_) return {9018, "FileSize", {}};
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    EVP_DigestFinal_ex(digest_.get(), digest, &length);
    if (!md5.empty() && strcasecmp(hex_digits({digest, length}).c_str(), md5.c_str()) != 0) return {9018, "MD5", {}};
    return {};
}

}  // namespace ravd
