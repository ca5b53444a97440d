// A copy and its MD5, made on a thread.
#include "ravd/firmware/fetch_file.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/sendfile.h>
#include <sys/stat.h>

#include "ravd/hex.h"
#include "ravd/session.h"

namespace ravd {

namespace {

Fault copy(const ImageSource &source, int fd, uint64_t most) {
    const std::string scheme = "file://";
    if (!source.url.starts_with(scheme)) return {9013, {}, {}};
    const Descriptor from(
        open(source.url.substr(scheme.size()).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat file = {};
    if (!from || fstat(from.get(), &file) != 0 || !S_ISREG(file.st_mode)) return {9016, {}, {}};
    if (static_cast<uint64_t>(file.st_size) > most) return {9004, {}, {}};
    if (source.size && static_cast<uint64_t>(file.st_size) != *source.size) return {9018, "FileSize", {}};
    EVP_MD_CTX *context = EVP_MD_CTX_new();
    EVP_DigestInit_ex(context, EVP_md5(), nullptr);
    char chunk[65536];
    Fault fault;
    for (ssize_t got; (got = read(from.get(), chunk, sizeof chunk)) > 0;) {
        EVP_DigestUpdate(context, chunk, static_cast<size_t>(got));
        if (write(fd, chunk, static_cast<size_t>(got)) != got) fault = {9002, "no space", {}};
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    EVP_DigestFinal_ex(context, digest, &length);
    EVP_MD_CTX_free(context);
    if (!fault && !source.md5.empty() && hex_digits({digest, length}) != source.md5) return {9018, "MD5", {}};
    return fault;
}

}  // namespace

Upgrades::Fetch file_fetcher(const Call &call) {
    return [&workers = call.services.workers](const ImageSource &source, int fd, uint64_t most, Upgrades::Done done) {
        const auto fault = std::make_shared<Fault>();
        const auto ended = std::make_shared<bool>(false);
        const auto own = std::make_shared<Descriptor>(dup(fd));
        workers.post([=] { *fault = copy(source, own->get(), most); },
                     [=] {
                         if (!*ended) done(*fault);
                     });
        return [ended] { *ended = true; };
    };
}

}  // namespace ravd
