// Fuzzes firmware images: bytes as they come, and the same with a digest that is right, so that it does not stand in
// the way. What is taken holds exactly what its manifest says, and is taken once more; nothing else leaves a trace but
// a fault.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "ravd/firmware/image.h"
#include "ravd/json_text.h"
#include "tests/unit/ravd/image_fixture.h"

namespace {

void must(bool good) {
    if (!good) abort();
}

// Keeps nothing but what it needs to know whether the calls make sense.
struct Counting : ravd::PayloadSink {
    size_t files = 0;
    uint64_t bytes = 0, expected = 0;
    bool open_now = false;

    std::string begin(const ravd::Manifest &manifest) override {
        must(files == 0 && !manifest.payloads.empty());
        return "";
    }
    std::string open(const ravd::Payload &payload) override {
        must(!open_now && ravd::is_payload_name(payload.name) && payload.name.find('/') == payload.name.npos);
        open_now = true;
        expected += payload.size;
        ++files;
        return "";
    }
    std::string write(std::string_view text) override {
        bytes += text.size();
        must(open_now && bytes <= expected);
        return "";
    }
    std::string close() override {
        must(open_now && bytes == expected);
        open_now = false;
        return "";
    }
};

void read(std::string_view image) {
    const ravd::Descriptor file = ravd::file_of(image);
    const ravd::ImageRules rules = {"Model", nullptr};
    Counting counting;
    ravd::Manifest manifest;
    const ravd::Fault fault = read_image(file.get(), rules, manifest, counting);
    must(!fault || (fault.code == 9018 && ravd::clean_utf8(fault.detail) == fault.detail));
    if (fault) return;
    must(counting.files == manifest.payloads.size() && counting.bytes == manifest.total_size());
    must(manifest.model == "Model" && image.size() > manifest.total_size());
    must(!check_image(file.get(), rules, manifest));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view image(reinterpret_cast<const char *>(data), size);
    read(image);
    ravd::TarEntry digest = {"digest", std::string(65, 'x')};
    const std::string header = digest.header(), front(image.substr(0, size - size % 512));
    digest.content = ravd::sha256_hex(front + header) + "\n";
    read(front + digest.text() + std::string(1024, '\0'));
    return 0;
}
