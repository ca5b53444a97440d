// Links, addresses, routes and neighbours as the kernel's routing socket tells them. Reading (the dump_ functions) and
// understanding (the parse_ functions) are apart, so that messages of any origin can be parsed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <linux/netlink.h>

namespace ravd {

struct LinkCounters {
    uint64_t sent_bytes = 0, sent_packets = 0, sent_errors = 0, sent_drops = 0;
    uint64_t received_bytes = 0, received_packets = 0, received_errors = 0, received_drops = 0;
    uint64_t received_multicasts = 0, received_unknown = 0;
};

struct Link {
    int index = 0;
    int hardware = 0;         // ARPHRD_ETHER, ARPHRD_LOOPBACK, ...
    unsigned flags = 0;       // IFF_UP, ...
    int master = 0;           // index of the bridge or bond that it is part of, 0 for none
    unsigned mtu = 0;         // bytes
    unsigned oper_state = 0;  // IF_OPER_UP, ...
    std::string name;
    std::string kind;  // "bridge", "veth", ...; empty for hardware
    std::string mac;   // "02:FC:00:00:00:01"; empty when it has none of six bytes
    LinkCounters counters;
};

struct Address {
    int family = 0;  // AF_INET or AF_INET6
    int link = 0;    // index
    unsigned prefix_length = 0;
    unsigned flags = 0;                       // IFA_F_PERMANENT, ...
    uint32_t preferred_seconds = UINT32_MAX;  // left, all ones for ever
    uint32_t valid_seconds = UINT32_MAX;
    std::string text;
};

struct Route {
    int family = 0;
    int type = 0;      // RTN_UNICAST, ...
    int protocol = 0;  // RTPROT_STATIC, ...
    unsigned table = 0;
    unsigned prefix_length = 0;
    int link = 0;             // index, 0 for none; of a multipath route the first one's
    int64_t metric = -1;      // -1 for none
    std::string destination;  // empty for everywhere
    std::string gateway;      // empty for none
};

struct Neighbour {
    int family = 0;
    int link = 0;
    unsigned state = 0;  // NUD_REACHABLE, ...
    std::string mac;     // as in Link
    std::string address;
};

// Each gives nullopt for messages of other types and for what is cut short.
std::optional<Link> parse_link(const nlmsghdr *message);
std::optional<Address> parse_address(const nlmsghdr *message);
std::optional<Route> parse_route(const nlmsghdr *message);
std::optional<Neighbour> parse_neighbour(const nlmsghdr *message);

// All of them now, in the kernel's order: one question and its answer. Empty when the kernel does not answer within a
// second.
std::vector<Link> dump_links();
std::vector<Address> dump_addresses();
std::vector<Route> dump_routes();  // of the main tables, without cached and multicast ones
std::vector<Neighbour> dump_neighbours();

// The name of the link with that index; empty when there is none.
std::string link_name(const std::vector<Link> &links, int index);

}  // namespace ravd
