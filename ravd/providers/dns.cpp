// Device.DNS: the name servers that the device's own resolver asks.
#include "ravd/providers/dns.h"

#include <algorithm>

#include <arpa/inet.h>

#include "ravd/providers/facts.h"
#include "ravd/providers/providers.h"

namespace ravd {

namespace {

std::vector<std::string> name_servers() {
    const auto text = read_fact("/etc/resolv.conf");
    return text ? parse_name_servers(*text) : std::vector<std::string>();
}

std::optional<Value> client_status(const Viewer &) {
    return std::string(name_servers().empty() ? "Disabled" : "Enabled");
}

void list_servers(LiveRows &rows) {
    for (const std::string &server : name_servers())
        rows.add(server).set("Enable", true).set("Status", std::string("Enabled")).set("DNSServer", server);
}

constexpr LiveParameter parameters[] = {{"Device.DNS.Client.Status", client_status}};

constexpr const char *served[] = {"Enable", "Status", "DNSServer"};

constexpr LiveTable tables[] = {{"Device.DNS.Client.Server.", served, list_servers, true}};

}  // namespace

std::string address_word(std::string_view word) {
    const std::string plain(word.substr(0, word.find('%')));
    unsigned char bytes[sizeof(in6_addr)];
    char text[INET6_ADDRSTRLEN];
    for (const int family : {AF_INET, AF_INET6})
        if (inet_pton(family, plain.c_str(), bytes) == 1 && inet_ntop(family, bytes, text, sizeof text)) return text;
    return "";
}

std::vector<std::string> parse_name_servers(std::string_view text) {
    std::vector<std::string> servers;
    while (!text.empty()) {
        std::string_view line = next_word(text, "\n");
        if (next_word(line, " \t\r") != "nameserver") continue;
        std::string server = address_word(next_word(line, " \t\r"));
        if (!server.empty() && std::ranges::find(servers, server) == servers.end())
            servers.push_back(std::move(server));
    }
    return servers;
}

Provider dns_provider() {
    return {"dns", parameters, tables};
}

}  // namespace ravd
