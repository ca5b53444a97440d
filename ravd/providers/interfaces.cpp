// Device.IP and Device.Ethernet: links, their addresses and counters.
#include "ravd/providers/interfaces.h"

#include <algorithm>
#include <string_view>

#include <arpa/inet.h>
#include <linux/if.h>
#include <linux/if_addr.h>
#include <net/if_arp.h>
#include <time.h>
#include <unistd.h>

#include "ravd/providers/facts.h"
#include "ravd/providers/providers.h"

namespace ravd {

namespace {

constexpr size_t max_name = 64;

void set_link(LiveRows::Row &row, const Link &link) {
    const LinkCounters &counters = link.counters;
    row.set("Enable", (link.flags & IFF_UP) != 0)
        .set("Status", std::string(link_status(link)))
        .set("Name", text_value(link.name, max_name))
        .set("Stats.BytesSent", long_counter(counters.sent_bytes))
        .set("Stats.BytesReceived", long_counter(counters.received_bytes))
        .set("Stats.PacketsSent", long_counter(counters.sent_packets))
        .set("Stats.PacketsReceived", long_counter(counters.received_packets))
        .set("Stats.ErrorsSent", short_counter(counters.sent_errors))
        .set("Stats.ErrorsReceived", short_counter(counters.received_errors))
        .set("Stats.DiscardPacketsSent", short_counter(counters.sent_drops))
        .set("Stats.DiscardPacketsReceived", short_counter(counters.received_drops))
        .set("Stats.MulticastPacketsReceived", long_counter(counters.received_multicasts))
        .set("Stats.UnknownProtoPacketsReceived", short_counter(counters.received_unknown));
}

void add_ipv4(LiveRows &rows, const Address &address) {
    rows.add(address.text + "/" + std::to_string(address.prefix_length))
        .set("Enable", true)
        .set("Status", std::string("Enabled"))
        .set("IPAddress", address.text)
        .set("SubnetMask", mask_text(address.prefix_length))
        .set("AddressingType", std::string(ipv4_addressing_type(address)));
}

// When seconds from now have passed; unset for never.
Value end_of_life(uint32_t seconds) {
    if (seconds == UINT32_MAX) return {};
    return utc_text(time(nullptr) + static_cast<time_t>(seconds));
}

void add_ipv6(LiveRows &rows, const Address &address) {
    rows.add(address.text + "/" + std::to_string(address.prefix_length))
        .set("Enable", true)
        .set("Status", std::string("Enabled"))
        .set("IPAddressStatus", std::string(ipv6_status(address)))
        .set("IPAddress", address.text)
        .set("PrefixLength", int64_t{address.prefix_length})
        .set("Origin", std::string(ipv6_origin(address)))
        .set("PreferredLifetime", end_of_life(address.preferred_seconds))
        .set("ValidLifetime", end_of_life(address.valid_seconds));
}

void add_ip_interface(LiveRows &rows, const Link &link, const std::vector<Address> &addresses) {
    const bool loopback = link.hardware == ARPHRD_LOOPBACK;
    const bool tunnel = (link.flags & IFF_POINTOPOINT) != 0;
    LiveRows::Row &row = rows.add(link.name);
    set_link(row, link);
    row.set("MaxMTUSize", std::clamp<int64_t>(link.mtu, 64, 65535))
        .set("Type", std::string(loopback ? "Loopback"
                                 : tunnel ? "Tunnel"
                                          : "Normal"))
        .set("Loopback", loopback);
    LiveRows ipv4, ipv6;
    for (const Address &address : addresses) {
        if (address.link != link.index) continue;
        if (address.family == AF_INET)
            add_ipv4(ipv4, address);
        else
            add_ipv6(ipv6, address);
    }
    row.table("IPv4Address") = std::move(ipv4);
    row.table("IPv6Address") = std::move(ipv6);
}

// Parts of a bridge or bond carry no addresses: the bridge does.
void list_ip_interfaces(LiveRows &rows) {
    const std::vector<Address> addresses = dump_addresses();
    for (const Link &link : dump_links()) {
        const bool has_address = std::ranges::find(addresses, link.index, &Address::link) != addresses.end();
        if (link.master == 0 || has_address) add_ip_interface(rows, link, addresses);
    }
}

void list_ethernet_ports(LiveRows &rows) {
    for (const Link &link : dump_links()) {
        if (!is_ethernet_port(link, is_wireless(link.name))) continue;
        LiveRows::Row &row = rows.add(link.name);
        set_link(row, link);
        row.set("MACAddress", link.mac);
        // The kernel has no speed for links that are down and for virtual ones.
        const auto speed = read_number(("/sys/class/net/" + link.name + "/speed").c_str());
        if (speed && *speed > 0 && *speed <= UINT32_MAX) row.set("CurrentBitRate", *speed);
    }
}

void list_ethernet_links(LiveRows &rows) {
    for (const Link &link : dump_links()) {
        if (link.hardware != ARPHRD_ETHER) continue;
        LiveRows::Row &row = rows.add(link.name);
        set_link(row, link);
        row.set("MACAddress", link.mac);
    }
}

std::optional<Value> ipv4_capable(const Viewer &) {
    return access("/proc/sys/net/ipv4", F_OK) == 0;
}

std::optional<Value> ipv6_capable(const Viewer &) {
    return access("/proc/sys/net/ipv6", F_OK) == 0;
}

std::optional<Value> ipv4_status(const Viewer &) {
    return std::string(access("/proc/sys/net/ipv4", F_OK) == 0 ? "Enabled" : "Disabled");
}

std::optional<Value> ipv6_status_of_device(const Viewer &) {
    return std::string(read_number("/proc/sys/net/ipv6/conf/all/disable_ipv6") == 0 ? "Enabled" : "Disabled");
}

constexpr LiveParameter parameters[] = {
    {"Device.IP.IPv4Capable", ipv4_capable},
    {"Device.IP.IPv4Status", ipv4_status},
    {"Device.IP.IPv6Capable", ipv6_capable},
    {"Device.IP.IPv6Status", ipv6_status_of_device},
};

// What set_link() sets stands first: Ethernet links serve just that and the address.
constexpr const char *ethernet_served[] = {
    "Enable",
    "Status",
    "Name",
    "Stats.BytesSent",
    "Stats.BytesReceived",
    "Stats.PacketsSent",
    "Stats.PacketsReceived",
    "Stats.ErrorsSent",
    "Stats.ErrorsReceived",
    "Stats.DiscardPacketsSent",
    "Stats.DiscardPacketsReceived",
    "Stats.MulticastPacketsReceived",
    "Stats.UnknownProtoPacketsReceived",
    "MACAddress",
    "CurrentBitRate",
};
constexpr std::span<const char *const> link_served(ethernet_served, std::size(ethernet_served) - 1);

constexpr const char *ip_served[] = {
    "Enable",
    "Status",
    "Name",
    "Stats.BytesSent",
    "Stats.BytesReceived",
    "Stats.PacketsSent",
    "Stats.PacketsReceived",
    "Stats.ErrorsSent",
    "Stats.ErrorsReceived",
    "Stats.DiscardPacketsSent",
    "Stats.DiscardPacketsReceived",
    "Stats.MulticastPacketsReceived",
    "Stats.UnknownProtoPacketsReceived",
    "MaxMTUSize",
    "Type",
    "Loopback",
    "IPv4Address.{i}.Enable",
    "IPv4Address.{i}.Status",
    "IPv4Address.{i}.IPAddress",
    "IPv4Address.{i}.SubnetMask",
    "IPv4Address.{i}.AddressingType",
    "IPv6Address.{i}.Enable",
    "IPv6Address.{i}.Status",
    "IPv6Address.{i}.IPAddressStatus",
    "IPv6Address.{i}.IPAddress",
    "IPv6Address.{i}.PrefixLength",
    "IPv6Address.{i}.Origin",
    "IPv6Address.{i}.PreferredLifetime",
    "IPv6Address.{i}.ValidLifetime",
};

constexpr LiveTable tables[] = {
    {"Device.IP.Interface.", ip_served, list_ip_interfaces, true},
    {"Device.Ethernet.Interface.", ethernet_served, list_ethernet_ports, true},
    {"Device.Ethernet.Link.", link_served, list_ethernet_links, true},
};

}  // namespace

const char *link_status(const Link &link) {
    if ((link.flags & IFF_UP) == 0) return "Down";
    switch (link.oper_state) {
        case IF_OPER_UP:
            return "Up";
        case IF_OPER_DORMANT:
            return "Dormant";
        case IF_OPER_NOTPRESENT:
            return "NotPresent";
        case IF_OPER_LOWERLAYERDOWN:
            return "LowerLayerDown";
        case IF_OPER_UNKNOWN:
            return (link.flags & IFF_RUNNING) != 0 ? "Up" : "Unknown";
        default:
            return "Down";
    }
}

bool is_ethernet_port(const Link &link, bool wireless) {
    return link.hardware == ARPHRD_ETHER && !wireless && (link.kind.empty() || link.kind == "veth");
}

std::string mask_text(unsigned prefix_length) {
    const unsigned length = std::min(prefix_length, 32U);
    const in_addr mask = {htonl(length == 0 ? 0 : ~uint32_t{0} << (32 - length))};
    char text[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &mask, text, sizeof text) ? text : "";
}

const char *ipv4_addressing_type(const Address &address) {
    if (address.text.starts_with("169.254.")) return "AutoIP";
    return (address.flags & IFA_F_PERMANENT) != 0 ? "Static" : "DHCP";
}

const char *ipv6_status(const Address &address) {
    if ((address.flags & IFA_F_DADFAILED) != 0) return "Duplicate";
    if ((address.flags & IFA_F_OPTIMISTIC) != 0) return "Optimistic";
    if ((address.flags & IFA_F_TENTATIVE) != 0) return "Tentative";
    if ((address.flags & IFA_F_DEPRECATED) != 0) return "Deprecated";
    return "Preferred";
}

const char *ipv6_origin(const Address &address) {
    if (address.text == "::1") return "WellKnown";
    if (address.text.starts_with("fe80:") || (address.flags & IFA_F_PERMANENT) == 0) return "AutoConfigured";
    return "Static";
}

bool is_wireless(const std::string &link_name) {
    return access(("/sys/class/net/" + link_name + "/phy80211").c_str(), F_OK) == 0;
}

Provider interfaces_provider() {
    return {"interfaces", parameters, tables};
}

}  // namespace ravd
