// Messages of the routing socket into records.
#include <algorithm>

#include <arpa/inet.h>
#include <libmnl/libmnl.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <net/if_arp.h>
#include <string.h>

#include "ravd/providers/netlink.h"

namespace ravd {

namespace {

// The fixed part of a message, null when the message is of another type or too short.
template <typename Header>
const Header *header_of(const nlmsghdr *message, uint16_t type) {
    if (message->nlmsg_type != type || mnl_nlmsg_get_payload_len(message) < sizeof(Header)) return nullptr;
    return static_cast<const Header *>(mnl_nlmsg_get_payload(message));
}

// A number of an attribute; 0 when the attribute is too short to hold one.
template <typename Number>
Number number_of(const nlattr *attribute) {
    Number number = 0;
    if (mnl_attr_get_payload_len(attribute) >= sizeof number)
        memcpy(&number, mnl_attr_get_payload(attribute), sizeof number);
    return number;
}

// Calls use with each of the attributes that start at first and take size bytes together.
template <typename Use>
void each_attribute(const void *first, size_t size, Use use) {
    const char *end = static_cast<const char *>(first) + size;
    const auto *attribute = static_cast<const nlattr *>(first);
    while (mnl_attr_ok(attribute, static_cast<int>(end - reinterpret_cast<const char *>(attribute)))) {
        use(attribute);
        attribute = mnl_attr_next(attribute);
    }
}

// The same for the attributes that follow a message's fixed part.
template <typename Header, typename Use>
void each_attribute(const nlmsghdr *message, Use use) {
    const size_t fixed = NLMSG_HDRLEN + NLMSG_ALIGN(sizeof(Header));
    if (message->nlmsg_len <= fixed) return;
    each_attribute(reinterpret_cast<const char *>(message) + fixed, message->nlmsg_len - fixed, use);
}

std::string text_of(const nlattr *attribute) {
    const auto *text = static_cast<const char *>(mnl_attr_get_payload(attribute));
    return std::string(text, strnlen(text, mnl_attr_get_payload_len(attribute)));
}

std::string mac_of(const nlattr *attribute) {
    if (mnl_attr_get_payload_len(attribute) != 6) return "";
    const auto *bytes = static_cast<const unsigned char *>(mnl_attr_get_payload(attribute));
    std::string text;
    for (int i = 0; i < 6; i++) {
        if (i > 0) text += ':';
        text += "0123456789ABCDEF"[bytes[i] >> 4];
        text += "0123456789ABCDEF"[bytes[i] & 15];
    }
    return text;
}

std::string address_of(int family, const nlattr *attribute) {
    const size_t size = family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr);
    char text[INET6_ADDRSTRLEN];
    if (mnl_attr_get_payload_len(attribute) != size) return "";
    return inet_ntop(family, mnl_attr_get_payload(attribute), text, sizeof text) ? text : "";
}

bool is_internet(int family) {
    return family == AF_INET || family == AF_INET6;
}

LinkCounters counters_of(const nlattr *attribute) {
    rtnl_link_stats64 stats = {};  // kernels know more or fewer members at its end
    memcpy(&stats, mnl_attr_get_payload(attribute),
           std::min<size_t>(mnl_attr_get_payload_len(attribute), sizeof stats));
    LinkCounters counters;
    counters.sent_bytes = stats.tx_bytes;
    counters.sent_packets = stats.tx_packets;
    counters.sent_errors = stats.tx_errors;
    counters.sent_drops = stats.tx_dropped;
    counters.received_bytes = stats.rx_bytes;
    counters.received_packets = stats.rx_packets;
    counters.received_errors = stats.rx_errors;
    counters.received_drops = stats.rx_dropped;
    counters.received_multicasts = stats.multicast;
    counters.received_unknown = stats.rx_nohandler;
    return counters;
}

std::string kind_of(const nlattr *link_info) {
    std::string kind;
    each_attribute(mnl_attr_get_payload(link_info), mnl_attr_get_payload_len(link_info), [&](const nlattr *inner) {
        if (mnl_attr_get_type(inner) == IFLA_INFO_KIND) kind = text_of(inner);
    });
    return kind;
}

// Link and gateway of the first way of a multipath route.
void take_first_hop(Route &route, const nlattr *hops) {
    if (mnl_attr_get_payload_len(hops) < sizeof(rtnexthop)) return;
    const auto *hop = static_cast<const rtnexthop *>(mnl_attr_get_payload(hops));
    if (hop->rtnh_len < sizeof *hop || hop->rtnh_len > mnl_attr_get_payload_len(hops)) return;
    route.link = hop->rtnh_ifindex;
    each_attribute(hop + 1, hop->rtnh_len - sizeof *hop, [&](const nlattr *inner) {
        if (mnl_attr_get_type(inner) == RTA_GATEWAY) route.gateway = address_of(route.family, inner);
    });
}

}  // namespace

std::optional<Link> parse_link(const nlmsghdr *message) {
    const auto *header = header_of<ifinfomsg>(message, RTM_NEWLINK);
    if (!header) return std::nullopt;
    Link link;
    link.index = header->ifi_index;
    link.hardware = header->ifi_type;
    link.flags = header->ifi_flags;
    each_attribute<ifinfomsg>(message, [&](const nlattr *attribute) {
        switch (mnl_attr_get_type(attribute)) {
            case IFLA_IFNAME:
                link.name = text_of(attribute);
                break;
            case IFLA_ADDRESS:
                link.mac = mac_of(attribute);
                break;
            case IFLA_MTU:
                link.mtu = number_of<uint32_t>(attribute);
                break;
            case IFLA_MASTER:
                link.master = number_of<int32_t>(attribute);
                break;
            case IFLA_OPERSTATE:
                link.oper_state = number_of<uint8_t>(attribute);
                break;
            case IFLA_STATS64:
                link.counters = counters_of(attribute);
                break;
            case IFLA_LINKINFO:
                link.kind = kind_of(attribute);
                break;
            default:
                break;
        }
    });
    if (link.name.empty()) return std::nullopt;
    if (link.hardware == ARPHRD_LOOPBACK) link.mac.clear();
    return link;
}

std::optional<Address> parse_address(const nlmsghdr *message) {
    const auto *header = header_of<ifaddrmsg>(message, RTM_NEWADDR);
    if (!header || !is_internet(header->ifa_family)) return std::nullopt;
    Address address;
    address.family = header->ifa_family;
    address.link = static_cast<int>(header->ifa_index);
    address.prefix_length = header->ifa_prefixlen;
    address.flags = header->ifa_flags;
    std::string peer;
    each_attribute<ifaddrmsg>(message, [&](const nlattr *attribute) {
        switch (mnl_attr_get_type(attribute)) {
            case IFA_LOCAL:
                address.text = address_of(address.family, attribute);
                break;
            case IFA_ADDRESS:
                peer = address_of(address.family, attribute);
                break;
            case IFA_FLAGS:
                address.flags = number_of<uint32_t>(attribute);
                break;
            case IFA_CACHEINFO: {
                ifa_cacheinfo lifetimes = {};
                if (mnl_attr_get_payload_len(attribute) < sizeof lifetimes) break;
                memcpy(&lifetimes, mnl_attr_get_payload(attribute), sizeof lifetimes);
                address.preferred_seconds = lifetimes.ifa_prefered;
                address.valid_seconds = lifetimes.ifa_valid;
                break;
            }
            default:
                break;
        }
    });
    if (address.text.empty()) address.text = peer;  // the same but on point-to-point links
    if (address.text.empty()) return std::nullopt;
    return address;
}

std::optional<Route> parse_route(const nlmsghdr *message) {
    const auto *header = header_of<rtmsg>(message, RTM_NEWROUTE);
    if (!header || !is_internet(header->rtm_family) || (header->rtm_flags & RTM_F_CLONED) != 0) return std::nullopt;
    Route route;
    route.family = header->rtm_family;
    route.type = header->rtm_type;
    route.protocol = header->rtm_protocol;
    route.table = header->rtm_table;
    route.prefix_length = header->rtm_dst_len;
    each_attribute<rtmsg>(message, [&](const nlattr *attribute) {
        switch (mnl_attr_get_type(attribute)) {
            case RTA_TABLE:
                route.table = number_of<uint32_t>(attribute);
                break;
            case RTA_DST:
                route.destination = address_of(route.family, attribute);
                break;
            case RTA_GATEWAY:
                route.gateway = address_of(route.family, attribute);
                break;
            case RTA_OIF:
                route.link = number_of<int32_t>(attribute);
                break;
            case RTA_PRIORITY:
                route.metric = std::min<int64_t>(number_of<uint32_t>(attribute), INT32_MAX);
                break;
            case RTA_MULTIPATH:
                take_first_hop(route, attribute);
                break;
            default:
                break;
        }
    });
    return route;
}

std::optional<Neighbour> parse_neighbour(const nlmsghdr *message) {
    const auto *header = header_of<ndmsg>(message, RTM_NEWNEIGH);
    if (!header || !is_internet(header->ndm_family)) return std::nullopt;
    Neighbour neighbour;
    neighbour.family = header->ndm_family;
    neighbour.link = header->ndm_ifindex;
    neighbour.state = header->ndm_state;
    each_attribute<ndmsg>(message, [&](const nlattr *attribute) {
        switch (mnl_attr_get_type(attribute)) {
            case NDA_DST:
                neighbour.address = address_of(neighbour.family, attribute);
                break;
            case NDA_LLADDR:
                neighbour.mac = mac_of(attribute);
                break;
            default:
                break;
        }
    });
    if (neighbour.address.empty()) return std::nullopt;
    return neighbour;
}

}  // namespace ravd
