// The names of what every image holds beside its payloads.
#pragma once

#include <string_view>

namespace ravd {

constexpr std::string_view manifest_name = "manifest.json";
constexpr std::string_view signature_name = "manifest.sig";  // of the manifest's bytes, Ed25519
constexpr std::string_view digest_name = "digest";           // of everything before it, SHA-256

constexpr std::string_view image_names[] = {manifest_name, signature_name, digest_name};

}  // namespace ravd
