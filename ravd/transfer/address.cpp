// URLs of the web are taken apart by the library that fetches them, so that nobody reads one differently.
#include "ravd/transfer/address.h"

#include <charconv>
#include <memory>

#include <arpa/inet.h>
#include <curl/curl.h>
#include <strings.h>

#include "ravd/json_text.h"
#include "rv/url.h"

namespace ravd {

namespace {

constexpr struct {
    const char *scheme;
    Way way;
} ways[] = {
    {"http", Way::web}, {"https", Way::web}, {"ftp", Way::web}, {"netcat", Way::netcat}, {"file", Way::file},
};

struct FreeUrl {
    void operator()(CURLU *url) const { curl_url_cleanup(url); }
};
using Url = std::unique_ptr<CURLU, FreeUrl>;

// Null when it is none.
Url parsed(const std::string &text) {
    Url url(curl_url());
    if (!url || curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0) != CURLUE_OK) return nullptr;
    return url;
}

std::string part_of(CURLU *url, CURLUPart part, unsigned flags = 0) {
    char *text = nullptr;
    if (curl_url_get(url, part, &text, flags) != CURLUE_OK) return {};
    const std::string copy = text;
    curl_free(text);
    return copy;
}

std::string_view rest_of(std::string_view url) {
    rv_url parts = {};
    if (rv_url_parse_mem(&parts, url.data(), url.size()) == 0) return {};
    return {parts.rest, parts.rest_length};
}

std::string after_last_slash(const std::string &path) {
    return path.substr(path.rfind('/') + 1);
}

std::string with_name(const std::string &folder, const std::string &name) {
    return folder + (folder.ends_with('/') ? "" : "/") + name;
}

}  // namespace

Way way_of(std::string_view url) {
    rv_url parts = {};
    if (rv_url_parse_mem(&parts, url.data(), url.size()) == 0) return Way::none;
    const std::string scheme(parts.scheme, parts.scheme_length);
    for (const auto &each : ways)
        if (strcasecmp(scheme.c_str(), each.scheme) == 0) return each.way;
    return Way::none;
}

std::string path_of(std::string_view url) {
    const std::string_view rest = rest_of(url);
    return rest.starts_with('/') ? std::string(rest) : std::string();
}

std::optional<sockaddr_in> netcat_address(std::string_view url) {
    const std::string_view rest = rest_of(url);
    const size_t colon = rest.find(':');
    if (colon == rest.npos) return std::nullopt;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    if (inet_pton(AF_INET, std::string(rest.substr(0, colon)).c_str(), &address.sin_addr) != 1) return std::nullopt;
    uint16_t port = 0;
    const auto [end, error] = std::from_chars(rest.data() + colon + 1, rest.data() + rest.size(), port);
    if (error != std::errc() || end != rest.data() + rest.size() || port == 0) return std::nullopt;
    address.sin_port = htons(port);
    return address;
}

std::string url_for_log(const std::string &text) {
    const Way way = way_of(text);
    if (way == Way::file || way == Way::netcat) return clean_utf8(text);
    const Url url = way == Way::web ? parsed(text) : nullptr;
    if (!url) return clean_utf8(text.substr(0, text.find("://"))).substr(0, 32) + "://...";
    for (const CURLUPart part :
         {CURLUPART_USER, CURLUPART_PASSWORD, CURLUPART_OPTIONS, CURLUPART_QUERY, CURLUPART_FRAGMENT})
        curl_url_set(url.get(), part, nullptr, 0);
    return clean_utf8(part_of(url.get(), CURLUPART_URL));
}

std::string url_in_folder(const std::string &text, const std::string &name) {
    switch (way_of(text)) {
        case Way::netcat:
            return text;
        case Way::file:
            return with_name(text, name);
        case Way::web:
            break;
        default:
            return {};
    }
    const Url url = parsed(text);
    if (!url) return {};
    char *escaped = curl_easy_escape(nullptr, name.c_str(), static_cast<int>(name.size()));
    const std::string path = with_name(part_of(url.get(), CURLUPART_PATH), escaped);
    curl_free(escaped);
    if (curl_url_set(url.get(), CURLUPART_PATH, path.c_str(), 0) != CURLUE_OK) return {};
    return part_of(url.get(), CURLUPART_URL);
}

std::string last_component(const std::string &text) {
    switch (way_of(text)) {
        case Way::file:
            return after_last_slash(path_of(text));
        case Way::web:
            if (const Url url = parsed(text))
                return after_last_slash(part_of(url.get(), CURLUPART_PATH, CURLU_URLDECODE));
            return {};
        default:
            return {};
    }
}

std::string problem_of_name(std::string_view name) {
    if (name.empty() || name.size() > 255) return "not from 1 to 255 bytes";
    if (name.front() == '.') return "begins with a period";
    if (name.find('/') != name.npos) return "more than one component";
    if (clean_utf8(name) != name) return "holds control characters";
    return {};
}

}  // namespace ravd
