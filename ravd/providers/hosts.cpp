// Device.Hosts: neighbours that the kernel has lately spoken with. Names come from the device's own host table only:
// asking a name server would wait.
#include "ravd/providers/hosts.h"

#include <algorithm>

#include <linux/neighbour.h>
#include <net/if_arp.h>
#include <sys/socket.h>

#include "ravd/providers/dns.h"
#include "ravd/providers/facts.h"
#include "ravd/providers/interfaces.h"
#include "ravd/providers/providers.h"

namespace ravd {

namespace {

constexpr unsigned answers = NUD_REACHABLE | NUD_DELAY | NUD_PROBE | NUD_PERMANENT;
constexpr unsigned has_answered = answers | NUD_STALE;

using HostNames = std::map<std::string, std::string>;

const char *interface_type(const std::vector<Link> &links, int index) {
    const auto link = std::ranges::find(links, index, &Link::index);
    if (link == links.end()) return "Other";
    if (is_wireless(link->name)) return "Wi-Fi";
    return link->hardware == ARPHRD_ETHER ? "Ethernet" : "Other";
}

Value name_of(const Host &host, const HostNames &names) {
    for (const auto *addresses : {&host.ipv4, &host.ipv6})
        for (const std::string &address : *addresses)
            if (const auto found = names.find(address); found != names.end()) return text_value(found->second, 64);
    return {};
}

LiveRows address_rows(const std::vector<std::string> &addresses) {
    LiveRows rows;
    for (const std::string &address : addresses) rows.add(address).set("IPAddress", address);
    return rows;
}

void list_hosts(LiveRows &rows) {
    const std::vector<Link> links = dump_links();
    const auto text = read_fact("/etc/hosts");
    const HostNames names = text ? parse_host_names(*text) : HostNames();
    for (const Host &host : hosts_of(dump_neighbours())) {
        LiveRows::Row &row = rows.add(host.mac);
        row.set("PhysAddress", host.mac)
            .set("IPAddress", host.ipv4.empty() ? host.ipv6.front() : host.ipv4.front())
            .set("InterfaceType", std::string(interface_type(links, host.link)))
            .set("HostName", name_of(host, names))
            .set("Active", host.active);
        row.table("IPv4Address") = address_rows(host.ipv4);
        row.table("IPv6Address") = address_rows(host.ipv6);
    }
}

constexpr const char *served[] = {
    "PhysAddress",
    "IPAddress",
    "InterfaceType",
    "HostName",
    "Active",
    "IPv4Address.{i}.IPAddress",
    "IPv6Address.{i}.IPAddress",
};

constexpr LiveTable tables[] = {{"Device.Hosts.Host.", served, list_hosts, true}};

}  // namespace

std::vector<Host> hosts_of(const std::vector<Neighbour> &neighbours) {
    std::vector<Host> hosts;
    for (const Neighbour &neighbour : neighbours) {
        if ((neighbour.state & has_answered) == 0 || neighbour.mac.empty()) continue;
        auto host = std::ranges::find(hosts, neighbour.mac, &Host::mac);
        if (host == hosts.end()) host = hosts.insert(host, Host{neighbour.mac, neighbour.link, false, {}, {}});
        host->active = host->active || (neighbour.state & answers) != 0;
        auto &addresses = neighbour.family == AF_INET ? host->ipv4 : host->ipv6;
        if (std::ranges::find(addresses, neighbour.address) == addresses.end()) addresses.push_back(neighbour.address);
    }
    return hosts;
}

std::map<std::string, std::string> parse_host_names(std::string_view text) {
    std::map<std::string, std::string> names;
    while (!text.empty()) {
        std::string_view line = next_word(text, "\n");
        line = line.substr(0, line.find('#'));
        while (line.starts_with(' ') || line.starts_with('\t')) line.remove_prefix(1);
        const std::string address = address_word(next_word(line, " \t\r"));
        const std::string_view name = next_word(line, " \t\r");
        if (!address.empty() && !name.empty()) names.emplace(address, name);
    }
    return names;
}

Provider hosts_provider() {
    return {"hosts", {}, tables};
}

}  // namespace ravd
