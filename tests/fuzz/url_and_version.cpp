// Fuzzes what is read from texts of others: URLs, and versions of firmware. The first byte says where the rest is cut
// into two versions.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "rv/firmware.h"
#include "rv/url.h"

namespace {

void must(bool good) {
    if (!good) abort();
}

void read_url(const std::string &text) {
    rv_url url;
    if (!rv_url_parse_mem(&url, text.data(), text.size())) return;
    must(url.scheme == text.data() && url.scheme_length > 0 && url.rest_length > 0);
    must(url.scheme_length + 3 + url.rest_length == text.size());
    must(text.compare(url.scheme_length, 3, "://") == 0 && url.rest == text.data() + url.scheme_length + 3);
}

void compare_versions(const std::string &a, const std::string &b) {
    const int there = rv_firmware_version_cmp(a.c_str(), b.c_str());
    const int back = rv_firmware_version_cmp(b.c_str(), a.c_str());
    must(there == -back);
    must(there == 0 || std::abs(there) <= RV_FIRMWARE_MAJOR || std::abs(there) == RV_FIRMWARE_BRANCH);
    must(rv_firmware_version_cmp(a.c_str(), a.c_str()) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    const std::string text(reinterpret_cast<const char *>(data + 1), size - 1);
    read_url(text);
    const size_t cut = std::min<size_t>(data[0], text.size());
    compare_versions(text.substr(0, cut), text.substr(cut));
    return 0;
}
