// Firmware images, sound ones and others, as tests build them: in memory, block by block.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <openssl/sha.h>
#include <sys/mman.h>
#include <unistd.h>

#include "ravd/descriptor.h"
#include "ravd/hex.h"

namespace ravd {

inline std::string sha256_hex(std::string_view bytes) {
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size(), digest);
    return hex_digits(digest);
}

// A tar header and what of it a hostile archive may have otherwise.
struct TarEntry {
    std::string name;
    std::string content;
    char type = '0';
    std::string link = {};
    std::string magic = std::string("ustar\00000", 8);
    std::string size = {};  // the field as it stands; empty: the content's

    std::string header() const {
        std::string block(512, '\0');
        const auto put = [&block](size_t offset, std::string_view text) { block.replace(offset, text.size(), text); };
        const auto octal = [](size_t number, int digits) {
            char text[24];
            snprintf(text, sizeof text, "%0*zo", digits, number);
            return std::string(text);
        };
        put(0, name.substr(0, 100));
        put(100, "0000644");
        put(108, "0000000");
        put(116, "0000000");
        put(124, size.empty() ? octal(content.size(), 11) : size);
        put(136, "00000000000");
        block[156] = type;
        put(157, link);
        put(257, magic);
        size_t sum = 8 * size_t{' '};
        for (const char c : block) sum += static_cast<unsigned char>(c);
        put(148, octal(sum, 6) + std::string("\0 ", 2));
        return block;
    }
    std::string text() const {
        const size_t padding = (512 - content.size() % 512) % 512;
        return header() + content + std::string(padding, '\0');
    }
};

inline std::string manifest_row(std::string_view name, std::string_view content) {
    return "{\"name\":\"" + std::string(name) + "\",\"size\":" + std::to_string(content.size()) + ",\"sha256\":\"" +
           sha256_hex(content) + "\"}";
}

inline std::string manifest_text(std::string_view rows, std::string_view model = "Model",
                                 std::string_view version = "1.2.3") {
    return "{\"format\":1,\"model\":\"" + std::string(model) + "\",\"version\":\"" + std::string(version) +
           "\",\"payloads\":[" + std::string(rows) + "]}";
}

// The entries with the digest of all before it, and the end.
inline std::string image_of(const std::vector<TarEntry> &entries) {
    std::string image;
    for (const TarEntry &entry : entries) image += entry.text();
    TarEntry digest = {"digest", std::string(65, 'x')};
    const std::string header = digest.header();
    digest.content = sha256_hex(image + header) + "\n";
    return image + digest.text() + std::string(1024, '\0');
}

inline std::vector<TarEntry> sound_entries() {
    const std::string kernel = "kernel of a device", root(1500, 'r');
    return {{"manifest.json", manifest_text(manifest_row("kernel", kernel) + "," + manifest_row("root.img", root))},
            {"kernel", kernel},
            {"root.img", root}};
}

// A file in memory with those bytes.
inline Descriptor file_of(std::string_view bytes) {
    Descriptor file(memfd_create("image", MFD_CLOEXEC));
    while (!bytes.empty()) {
        const ssize_t put = write(file.get(), bytes.data(), bytes.size());
        if (put <= 0) return Descriptor();
        bytes.remove_prefix(static_cast<size_t>(put));
    }
    return file;
}

}  // namespace ravd
