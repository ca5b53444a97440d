// libarchive takes the archive apart; which entries it may have, and in which order, is decided here.
#include "ravd/firmware/image.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>

#include <archive.h>
#include <archive_entry.h>
#include <openssl/sha.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ravd/firmware/image_names.h"
#include "ravd/hex.h"
#include "ravd/json_text.h"

namespace ravd {

namespace {

constexpr size_t chunk_size = 65536;
constexpr size_t block_size = 512;
constexpr size_t digest_digits = 64;

class Sha256 {
 public:
    Sha256() { EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr); }
    void add(std::string_view bytes) { EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()); }
    std::string hex() {
        std::array<unsigned char, SHA256_DIGEST_LENGTH> digest = {};
        EVP_DigestFinal_ex(context_.get(), digest.data(), nullptr);
        return hex_digits(digest);
    }

 private:
    std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX *)> context_{EVP_MD_CTX_new(), EVP_MD_CTX_free};
};

// What libarchive reads from: the file at an offset of its own.
struct Source {
    int fd;
    off_t offset = 0;
    std::array<char, chunk_size> chunk = {};

    std::string_view next(size_t most = chunk_size) {
        ssize_t got;
        do got = pread(fd, chunk.data(), std::min(most, chunk.size()), offset);
        while (got < 0 && errno == EINTR);
        if (got > 0) offset += got;
        return {chunk.data(), got > 0 ? static_cast<size_t>(got) : 0};
    }
};

la_ssize_t read_source(archive *, void *source, const void **bytes) {
    const std::string_view chunk = static_cast<Source *>(source)->next();
    *bytes = chunk.data();
    return static_cast<la_ssize_t>(chunk.size());
}

class ImageReader {
 public:
    ImageReader(int fd, const ImageRules &rules, Manifest &manifest, PayloadSink &sink)
        : rules_(rules), manifest_(manifest), sink_(sink), source_(std::make_unique<Source>(Source{fd})), fd_(fd) {}

    Fault read() {
        archive_read_support_format_tar(archive_.get());
        if (archive_read_open(archive_.get(), source_.get(), nullptr, read_source, nullptr) != ARCHIVE_OK || !next())
            return damaged("it is no image");
        std::string text;
        if (Fault fault = take(manifest_name, manifest_limit, text)) return fault;
        if (const std::string problem = parse_manifest(std::move(text), manifest_); !problem.empty())
            return damaged(problem);
        if (Fault fault = check_signature()) return fault;
        if (manifest_.model != rules_.model) return damaged("it is made for the model " + manifest_.model);
        if (const std::string problem = sink_.begin(manifest_); !problem.empty()) return failed(problem);
        for (const Payload &payload : manifest_.payloads)
            if (Fault fault = read_payload(payload)) return fault;
        return check_digest();
    }

 private:
    static Fault damaged(const std::string &problem) { return {9018, clean_utf8(problem), {}}; }
    static Fault failed(const std::string &problem) { return {9002, problem, {}}; }

    // Goes to the next entry; false when there is none that an image may have.
    bool next() {
        if (archive_read_next_header(archive_.get(), &entry_) != ARCHIVE_OK) return false;
        const char *name = archive_entry_pathname(entry_);
        name_ = name != nullptr ? name : "";
        return archive_format(archive_.get()) == ARCHIVE_FORMAT_TAR_USTAR && is_plain_header() &&
               archive_entry_filetype(entry_) == AE_IFREG && archive_entry_size_is_set(entry_) &&
               archive_entry_size(entry_) >= 0;
    }

    // The first header of the entry is the one of a regular file. To libarchive, entries with other headers before, and
    // of types that it does not know, are regular files, too.
    bool is_plain_header() const {
        constexpr off_t type_offset = 156;
        char type = 0;
        return pread(fd_, &type, 1, archive_read_header_position(archive_.get()) + type_offset) == 1 && type == '0';
    }

    uint64_t size() const { return static_cast<uint64_t>(archive_entry_size(entry_)); }

    // Gives the content of the present entry piece by piece to use(), which returns an empty text or a problem.
    template <typename Use>
    Fault each_piece(Use use) {
        std::array<char, 16384> piece;
        for (uint64_t left = size();;) {
            const la_ssize_t got = archive_read_data(archive_.get(), piece.data(), piece.size());
            if (got < 0 || static_cast<uint64_t>(got) > left) return damaged(name_ + ": cut short");
            if (got == 0) return left == 0 ? Fault() : damaged(name_ + ": cut short");
            left -= static_cast<uint64_t>(got);
            const std::string problem = use(std::string_view(piece.data(), static_cast<size_t>(got)));
            if (!problem.empty()) return failed(problem);
        }
    }

    // Reads the present entry, which must have that name, as a whole.
    Fault take(std::string_view name, size_t most, std::string &text) {
        if (name_ != name) return damaged(std::string(name) + " is missing");
        if (size() > most) return damaged(name_ + ": too large");
        return each_piece([&](std::string_view piece) {
            text += piece;
            return std::string();
        });
    }

    Fault check_signature() {
        const bool required = rules_.key != nullptr && rules_.key->is_loaded();
        std::string signature;
        if (!next()) return damaged("it ends with its manifest");
        if (name_ != signature_name) return required ? Fault{9019, "the image is not signed", {}} : Fault();
        if (Fault fault = take(signature_name, signature_size, signature)) return fault;
        if (required && !rules_.key->verifies(manifest_.text, signature))
            return {9019, "the image is signed with another key", {}};
        return next() ? Fault() : damaged("it ends with its signature");
    }

    Fault read_payload(const Payload &payload) {
        if (name_ != payload.name) return damaged(payload.name + " is missing");
        if (size() != payload.size) return damaged(payload.name + ": not of the size that the manifest has");
        if (const std::string problem = sink_.open(payload); !problem.empty()) return failed(problem);
        Sha256 hash;
        const Fault fault = each_piece([&](std::string_view piece) {
            hash.add(piece);
            return sink_.write(piece);
        });
        if (fault) return fault;
        if (hash.hex() != payload.sha256) return damaged(payload.name + ": not what the manifest has a hash of");
        if (const std::string problem = sink_.close(); !problem.empty()) return failed(problem);
        return next() ? Fault() : damaged("it ends with " + payload.name);
    }

    // The present entry is the digest. Everything before its content is read once more, and nothing but zeros may
    // follow.
    Fault check_digest() {
        const la_int64_t header = archive_read_header_position(archive_.get());
        std::string text;
        if (Fault fault = take(digest_name, digest_digits + 1, text)) return fault;
        const auto begin = static_cast<size_t>(header) + block_size;
        Sha256 hash;
        source_->offset = 0;
        for (size_t left = begin; left > 0;) {
            const std::string_view chunk = source_->next(left);
            if (chunk.empty()) return damaged("it can't be read again");
            hash.add(chunk);
            left -= chunk.size();
        }
        if (text != hash.hex() + "\n") return damaged("it is not what its digest says");
        source_->offset += static_cast<off_t>(text.size());
        struct stat file = {};
        if (fstat(fd_, &file) != 0 || file.st_size % static_cast<off_t>(block_size) != 0)
            return damaged("it is cut short");
        if (static_cast<size_t>(file.st_size) < begin + 3 * block_size) return damaged("it is cut short");
        for (std::string_view chunk; !(chunk = source_->next()).empty();)
            if (chunk.find_first_not_of('\0') != chunk.npos) return damaged("something follows its end");
        return {};
    }

    const ImageRules &rules_;
    Manifest &manifest_;
    PayloadSink &sink_;
    const std::unique_ptr<Source> source_;
    const int fd_;
    const std::unique_ptr<archive, int (*)(archive *)> archive_{archive_read_new(), archive_read_free};
    archive_entry *entry_ = nullptr;  // the archive's
    std::string name_;
};

}  // namespace

Fault read_image(int fd, const ImageRules &rules, Manifest &manifest, PayloadSink &sink) {
    return ImageReader(fd, rules, manifest, sink).read();
}

Fault check_image(int fd, const ImageRules &rules, Manifest &manifest) {
    struct Nowhere : PayloadSink {
    } nowhere;
    return read_image(fd, rules, manifest, nowhere);
}

}  // namespace ravd
