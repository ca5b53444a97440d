// Device.Routing: the kernel's main table as the one router.
#include "ravd/providers/routes.h"

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "ravd/providers/interfaces.h"
#include "ravd/providers/providers.h"

namespace ravd {

namespace {

// Protocols that older headers of the kernel lack.
constexpr int protocol_ospf = 188, protocol_rip = 189;

// What tells the routes of a table apart.
std::string key_of(const Route &route, const std::string &link) {
    std::string key = route.destination + "/" + std::to_string(route.prefix_length);
    key += " via " + route.gateway + " dev " + link;
    key += " metric " + std::to_string(route.metric) + " type " + std::to_string(route.type);
    return key;
}

void add_ipv4(LiveRows &rows, const Route &route, const std::string &link) {
    LiveRows::Row &row = rows.add(key_of(route, link));
    row.set("Enable", true)
        .set("Status", std::string("Enabled"))
        .set("Type", std::string(route_type(route)))
        .set("StaticRoute", is_static(route))
        .set("DestIPAddress", route.destination)
        .set("DestSubnetMask", route.destination.empty() ? std::string() : mask_text(route.prefix_length))
        .set("GatewayIPAddress", route.gateway)
        .set("Origin", std::string(route_origin(route)))
        .set("ForwardingMetric", route.metric);
}

void add_ipv6(LiveRows &rows, const Route &route, const std::string &link) {
    const std::string prefix = route.destination + "/" + std::to_string(route.prefix_length);
    rows.add(key_of(route, link))
        .set("Enable", true)
        .set("Status", std::string("Enabled"))
        .set("Type", std::string(route_type(route)))
        .set("DestIPPrefix", route.destination.empty() ? std::string() : prefix)
        .set("NextHop", route.gateway)
        .set("Origin", std::string(route_origin(route)))
        .set("ForwardingMetric", route.metric);
}

void list_routers(LiveRows &rows) {
    const std::vector<Link> links = dump_links();
    LiveRows ipv4, ipv6;
    for (const Route &route : dump_routes()) {
        const std::string link = link_name(links, route.link);
        if (route.family == AF_INET)
            add_ipv4(ipv4, route, link);
        else
            add_ipv6(ipv6, route, link);
    }
    LiveRows::Row &row = rows.add("main");
    row.set("Enable", true).set("Status", std::string("Enabled"));
    row.table("IPv4Forwarding") = std::move(ipv4);
    row.table("IPv6Forwarding") = std::move(ipv6);
}

constexpr const char *served[] = {
    "Enable",
    "Status",
    "IPv4Forwarding.{i}.Enable",
    "IPv4Forwarding.{i}.Status",
    "IPv4Forwarding.{i}.Type",
    "IPv4Forwarding.{i}.StaticRoute",
    "IPv4Forwarding.{i}.DestIPAddress",
    "IPv4Forwarding.{i}.DestSubnetMask",
    "IPv4Forwarding.{i}.GatewayIPAddress",
    "IPv4Forwarding.{i}.Origin",
    "IPv4Forwarding.{i}.ForwardingMetric",
    "IPv6Forwarding.{i}.Enable",
    "IPv6Forwarding.{i}.Status",
    "IPv6Forwarding.{i}.Type",
    "IPv6Forwarding.{i}.DestIPPrefix",
    "IPv6Forwarding.{i}.NextHop",
    "IPv6Forwarding.{i}.Origin",
    "IPv6Forwarding.{i}.ForwardingMetric",
};

constexpr LiveTable tables[] = {{"Device.Routing.Router.", served, list_routers, true}};

}  // namespace

const char *route_type(const Route &route) {
    switch (route.type) {
        case RTN_LOCAL:
        case RTN_BROADCAST:
        case RTN_ANYCAST:
            return "Receive";
        case RTN_BLACKHOLE:
            return "Blackhole";
        case RTN_UNREACHABLE:
            return "Unreachable";
        case RTN_PROHIBIT:
            return "Prohibit";
        default:
            return "Normal";
    }
}

const char *route_origin(const Route &route) {
    const bool ipv4 = route.family == AF_INET;
    switch (route.protocol) {
        case RTPROT_DHCP:
            return ipv4 ? "DHCPv4" : "DHCPv6";
        case RTPROT_RA:
            return ipv4 ? "Static" : "RA";
        case protocol_ospf:
            return "OSPF";
        case protocol_rip:
            return ipv4 ? "RIP" : "RIPng";
        default:
            return "Static";
    }
}

bool is_static(const Route &route) {
    return route.protocol == RTPROT_STATIC || route.protocol == RTPROT_BOOT;
}

Provider routes_provider() {
    return {"routes", {}, tables};
}

}  // namespace ravd
