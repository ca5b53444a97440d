// Manifests are read strictly: every member of the right type, every text short and printable, every name plain.
#include "ravd/firmware/manifest.h"

#include <algorithm>

#include <jansson.h>

#include "ravd/firmware/image_names.h"
#include "ravd/json_text.h"
#include "ravd/model/value.h"

namespace ravd {

namespace {

constexpr json_int_t format = 1;
constexpr size_t text_limit = 64;
constexpr size_t name_limit = 64;
constexpr size_t digest_digits = 64;

bool is_alphanumeric(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool is_hex_digit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
}

std::string text_member(const json_t *object, const char *name) {
    const json_t *value = json_object_get(object, name);
    return json_is_string(value) ? std::string(json_string_value(value), json_string_length(value)) : std::string();
}

// A short text that can be shown as it stands.
bool is_label(const std::string &text) {
    return !text.empty() && text.size() <= text_limit && clean_utf8(text) == text;
}

std::string read_payload(const json_t *object, Manifest &manifest) {
    Payload payload = {text_member(object, "name"), 0, text_member(object, "sha256")};
    const json_t *size = json_object_get(object, "size");
    if (!is_payload_name(payload.name)) return "a payload's name is not a plain one";
    if (std::ranges::any_of(manifest.payloads, [&](const Payload &each) { return each.name == payload.name; }))
        return payload.name + ": named twice";
    if (!json_is_integer(size) || json_integer_value(size) < 0) return payload.name + ": no size";
    payload.size = static_cast<uint64_t>(json_integer_value(size));
    if (payload.sha256.size() != digest_digits || !std::ranges::all_of(payload.sha256, is_hex_digit))
        return payload.name + ": no SHA-256";
    manifest.payloads.push_back(std::move(payload));
    return "";
}

}  // namespace

uint64_t Manifest::total_size() const {
    uint64_t total = 0;
    for (const Payload &payload : payloads)
        if (__builtin_add_overflow(total, payload.size, &total)) return UINT64_MAX;
    return total;
}

bool is_payload_name(std::string_view name) {
    const auto is_plain = [](char c) { return is_alphanumeric(c) || c == '_' || c == '-' || c == '+' || c == '.'; };
    return !name.empty() && name.size() <= name_limit && name.front() != '.' && std::ranges::all_of(name, is_plain) &&
           std::ranges::find(image_names, name) == std::end(image_names);
}

std::string parse_manifest(std::string text, Manifest &manifest) {
    manifest = {};
    if (text.size() > manifest_limit) return "the manifest is too large";
    json_error_t error;
    const Json json(json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, &error));
    const json_t *number = json_object_get(json.get(), "format");
    if (!json_is_integer(number)) return "the manifest is not readable";
    if (json_integer_value(number) != format) return "the manifest is of another format";
    manifest.model = text_member(json.get(), "model");
    manifest.version = text_member(json.get(), "version");
    if (!is_label(manifest.model)) return "the manifest names no model";
    if (!is_label(manifest.version)) return "the manifest names no version";
    const json_t *payloads = json_object_get(json.get(), "payloads");
    const size_t count = json_array_size(payloads);
    if (count == 0 || count > payload_limit)
        return "the manifest does not list 1 to " + std::to_string(payload_limit) + " payloads";
    for (size_t n = 0; n < count; ++n)
        if (std::string problem = read_payload(json_array_get(payloads, n), manifest); !problem.empty()) return problem;
    manifest.text = std::move(text);
    return "";
}

}  // namespace ravd
