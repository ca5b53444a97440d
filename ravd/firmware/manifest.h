// What a firmware image says of itself: the file manifest.json, which is the first one in it.
//
//     {"format": 1, "model": "Generic x86_64", "version": "1.2.0",
//      "payloads": [{"name": "rootfs.img", "size": 1048576, "sha256": "64 hex digits"}]}
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ravd {

constexpr size_t manifest_limit = 65536;  // bytes
constexpr size_t payload_limit = 64;      // files

struct Payload {
    std::string name;    // a plain file name, see is_payload_name()
    uint64_t size;       // bytes
    std::string sha256;  // hex digits, lower case
};

struct Manifest {
    std::string model;  // the device that it is made for
    std::string version;
    std::vector<Payload> payloads;  // in the order in which they stand in the image; no name twice
    std::string text;               // as it stands in the image

    uint64_t total_size() const;  // of the payloads
};

// One component of letters, digits, "_", "-", "+" and ".", the first one no ".", at most 64 bytes, and none of the
// names that an image gives its own parts.
bool is_payload_name(std::string_view name);

// Returns an empty text, or why the text is no manifest; then the manifest counts for nothing. Members that this
// version does not know are left aside.
std::string parse_manifest(std::string text, Manifest &manifest);

}  // namespace ravd
