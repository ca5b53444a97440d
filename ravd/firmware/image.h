// Firmware images: tar archives (ustar, nothing packed) of regular files with plain names, in this order:
//
//     manifest.json     see manifest.h
//     manifest.sig      the manifest's Ed25519 signature, 64 bytes; may be missing where no key is set
//     the payloads      in the order of the manifest
//     digest            SHA-256, as 64 hex digits and a line feed, of all bytes of the image before this file's content
//
// and then zeros to the end. So every bit is covered: what the archive's own format would let pass is refused, too.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "ravd/firmware/manifest.h"
#include "ravd/firmware/signing_key.h"
#include "ravd/model/fault.h"

namespace ravd {

struct ImageRules {
    std::string model;                // what the manifest must be made for
    const SigningKey *key = nullptr;  // borrowed; loaded: what the manifest must be signed with
};

// Gets the payloads of an image one after the other. Each call returns an empty text, or why the reading is to end.
class PayloadSink {
 public:
    virtual std::string begin(const Manifest &) { return ""; }  // once, before the first payload
    virtual std::string open(const Payload &) { return ""; }
    virtual std::string write(std::string_view) { return ""; }
    virtual std::string close() { return ""; }

 protected:
    ~PayloadSink() = default;
};

// Reads the whole image that fd holds, wherever its offset is, and checks all of it: digest, order, names, sizes,
// hashes, model and signature. fd: a regular file. What the sink was given counts only when there is no fault. Fault:
// 9018 for an image that is damaged or made for another model, 9019 for one that is not signed as it must be, 9002 for
// what the sink says. May run on any thread.
Fault read_image(int fd, const ImageRules &rules, Manifest &manifest, PayloadSink &sink);
// The same without a sink.
Fault check_image(int fd, const ImageRules &rules, Manifest &manifest);

}  // namespace ravd
