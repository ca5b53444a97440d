// Reading destination texts.
#include "libglobal/net/destination.h"

#include <charconv>

#include <arpa/inet.h>
#include <errno.h>
#include <sys/un.h>

namespace rv {

namespace {

constexpr std::string_view tcp_prefix = "tcp://";
constexpr size_t path_limit = sizeof(sockaddr_un::sun_path) - 1;

bool is_ipv6(std::string_view host) {
    const std::string address(host.substr(0, host.find('%')));  // "fe80::1%eth0" names its interface
    in6_addr ignored;
    return inet_pton(AF_INET6, address.c_str(), &ignored) == 1;
}

bool is_name_or_ipv4(std::string_view host) {
    if (host.empty()) return false;
    for (const char c : host)
        if (static_cast<unsigned char>(c) <= ' ' || c == 0x7f || c == ':' || c == '/' || c == '[' || c == ']')
            return false;
    return true;
}

bool parse_port(std::string_view text, PortZero zero, uint16_t *port) {
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, *port);
    return error == std::errc() && stop == end && (*port != 0 || zero == PortZero::taken);
}

bool parse_tcp(std::string_view text, PortZero zero, Destination *out) {
    const size_t colon = text.rfind(':');
    if (colon == std::string_view::npos || !parse_port(text.substr(colon + 1), zero, &out->port)) return false;
    std::string_view host = text.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
        if (!is_ipv6(host)) return false;
    } else if (!is_name_or_ipv4(host)) {
        return false;
    }
    out->host = host;
    return true;
}

}  // namespace

int parse_destination(std::string_view text, PortZero zero, Destination *out) {
    *out = {};
    if (text.empty()) return RV_SOCKET_ERR_DESTINATION;
    if (text.starts_with(tcp_prefix)) {
        if (!parse_tcp(text.substr(tcp_prefix.size()), zero, out)) return RV_SOCKET_ERR_DESTINATION;
        out->kind = RV_SOCKET_TCP;
        return 0;
    }
    out->kind = RV_SOCKET_UNIX;
    if (text.size() > path_limit) return RV_SOCKET_ERR_OS - ENAMETOOLONG;
    out->path = text;
    return 0;
}

}  // namespace rv
