// The routing socket's messages, built here and read by the providers.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <net/if_arp.h>
#include <string.h>

#include "ravd/providers/netlink.h"

namespace ravd {
namespace {

// A message in the making.
class Message {
 public:
    explicit Message(uint16_t type) : message_(mnl_nlmsg_put_header(bytes_)) { message_->nlmsg_type = type; }

    template <typename Header>
    Header *header() {
        return static_cast<Header *>(mnl_nlmsg_put_extra_header(message_, sizeof(Header)));
    }
    Message &put(uint16_t type, const void *data, size_t size) {
        mnl_attr_put(message_, type, size, data);
        return *this;
    }
    Message &put(uint16_t type, const char *text) { return put(type, text, strlen(text) + 1); }
    template <typename Number>
    Message &put_number(uint16_t type, Number number) {
        return put(type, &number, sizeof number);
    }
    Message &put_address(uint16_t type, const char *text) {
        unsigned char address[16];
        const bool ipv4 = inet_pton(AF_INET, text, address) == 1;
        if (!ipv4) inet_pton(AF_INET6, text, address);
        return put(type, address, ipv4 ? 4 : 16);
    }
    nlmsghdr *get() { return message_; }

 private:
    alignas(nlmsghdr) char bytes_[4096] = {};
    nlmsghdr *message_;
};

constexpr unsigned char mac[] = {0x02, 0xfc, 0, 0, 0, 0x0a};

void put_link(Message &message) {
    auto *header = message.header<ifinfomsg>();
    header->ifi_index = 4;
    header->ifi_type = ARPHRD_ETHER;
    header->ifi_flags = IFF_UP;
    rtnl_link_stats64 stats = {};
    stats.tx_bytes = 0x1122334455;
    stats.rx_dropped = 9;
    message.put(IFLA_IFNAME, "eth0").put(IFLA_ADDRESS, mac, 6).put_number<uint32_t>(IFLA_MTU, 1400);
    message.put_number<uint8_t>(IFLA_OPERSTATE, IF_OPER_UP).put(IFLA_STATS64, &stats, sizeof stats);
    nlattr *info = mnl_attr_nest_start(message.get(), IFLA_LINKINFO);
    message.put(IFLA_INFO_KIND, "veth");
    mnl_attr_nest_end(message.get(), info);
    message.put_number<uint32_t>(IFLA_MASTER, 7);
}

TEST(Netlink, Link) {
    Message message(RTM_NEWLINK);
    put_link(message);
    const auto link = parse_link(message.get());
    ASSERT_TRUE(link);
    EXPECT_EQ(link->index, 4);
    EXPECT_EQ(link->name, "eth0");
    EXPECT_EQ(link->mac, "02:FC:00:00:00:0A");
    EXPECT_EQ(link->mtu, 1400U);
    EXPECT_EQ(link->oper_state, unsigned{IF_OPER_UP});
    EXPECT_EQ(link->kind, "veth");
    EXPECT_EQ(link->master, 7);
    EXPECT_EQ(link->counters.sent_bytes, 0x1122334455U);
    EXPECT_EQ(link->counters.received_drops, 9U);
}

TEST(Netlink, LoopbackHasNoHardwareAddress) {
    Message message(RTM_NEWLINK);
    message.header<ifinfomsg>()->ifi_type = ARPHRD_LOOPBACK;
    message.put(IFLA_IFNAME, "lo").put(IFLA_ADDRESS, "\0\0\0\0\0", 6);
    EXPECT_EQ(parse_link(message.get())->mac, "");
}

TEST(Netlink, MessagesCutAnywhereDoNoHarm) {
    Message message(RTM_NEWLINK);
    put_link(message);
    const uint32_t whole = message.get()->nlmsg_len;
    for (uint32_t size = sizeof(nlmsghdr); size < whole; size++) {
        std::vector<uint32_t> copy((size + 3) / 4);  // its end is what the sanitizers watch
        memcpy(copy.data(), message.get(), size);
        auto *cut = reinterpret_cast<nlmsghdr *>(copy.data());
        cut->nlmsg_len = size;
        const auto link = parse_link(cut);
        if (size < sizeof(nlmsghdr) + sizeof(ifinfomsg)) {
            EXPECT_FALSE(link) << size;
        }
        if (link) {
            EXPECT_EQ(link->name, "eth0");
        }
    }
}

TEST(Netlink, OddSizesOfAttributes) {
    Message message(RTM_NEWLINK);
    message.header<ifinfomsg>();
    message.put(IFLA_IFNAME, "unended", 7)
        .put(IFLA_MTU, "x", 1)
        .put(IFLA_ADDRESS, mac, 4)
        .put(IFLA_STATS64, "12345678", 8);
    const auto link = parse_link(message.get());
    ASSERT_TRUE(link);
    EXPECT_EQ(link->name, "unended");
    EXPECT_EQ(link->mtu, 0U);
    EXPECT_EQ(link->mac, "");
    EXPECT_EQ(link->counters.sent_bytes, 0U);
}

TEST(Netlink, OtherMessagesAreNone) {
    Message message(RTM_DELLINK);
    put_link(message);
    EXPECT_FALSE(parse_link(message.get()));
    EXPECT_FALSE(parse_address(message.get()));
    EXPECT_FALSE(parse_route(message.get()));
    EXPECT_FALSE(parse_neighbour(message.get()));
}

TEST(Netlink, AddressTakesTheLocalEnd) {
    Message message(RTM_NEWADDR);
    auto *header = message.header<ifaddrmsg>();
    header->ifa_family = AF_INET;
    header->ifa_prefixlen = 24;
    header->ifa_index = 4;
    header->ifa_flags = 0;
    const ifa_cacheinfo lifetimes = {100, 200, 0, 0};
    message.put_address(IFA_LOCAL, "192.0.2.2").put_address(IFA_ADDRESS, "192.0.2.1");
    message.put_number<uint32_t>(IFA_FLAGS, IFA_F_PERMANENT).put(IFA_CACHEINFO, &lifetimes, sizeof lifetimes);
    const auto address = parse_address(message.get());
    ASSERT_TRUE(address);
    EXPECT_EQ(address->text, "192.0.2.2");
    EXPECT_EQ(address->prefix_length, 24U);
    EXPECT_EQ(address->link, 4);
    EXPECT_EQ(address->flags, unsigned{IFA_F_PERMANENT});
    EXPECT_EQ(address->preferred_seconds, 100U);
    EXPECT_EQ(address->valid_seconds, 200U);
}

TEST(Netlink, AddressOfAnotherFamilyOrSizeIsNone) {
    Message ipv6(RTM_NEWADDR);
    ipv6.header<ifaddrmsg>()->ifa_family = AF_INET6;
    ipv6.put_address(IFA_ADDRESS, "192.0.2.1");
    EXPECT_FALSE(parse_address(ipv6.get()));
    Message other(RTM_NEWADDR);
    other.header<ifaddrmsg>()->ifa_family = AF_PACKET;
    other.put_address(IFA_ADDRESS, "192.0.2.1");
    EXPECT_FALSE(parse_address(other.get()));
}

TEST(Netlink, Route) {
    Message message(RTM_NEWROUTE);
    auto *header = message.header<rtmsg>();
    header->rtm_family = AF_INET6;
    header->rtm_dst_len = 32;
    header->rtm_type = RTN_UNICAST;
    header->rtm_protocol = RTPROT_RA;
    header->rtm_table = RT_TABLE_COMPAT;
    message.put_number<uint32_t>(RTA_TABLE, RT_TABLE_MAIN).put_number<uint32_t>(RTA_PRIORITY, 1024);
    message.put_address(RTA_DST, "2001:db8::").put_address(RTA_GATEWAY, "fe80::1").put_number<uint32_t>(RTA_OIF, 4);
    const auto route = parse_route(message.get());
    ASSERT_TRUE(route);
    EXPECT_EQ(route->destination, "2001:db8::");
    EXPECT_EQ(route->prefix_length, 32U);
    EXPECT_EQ(route->gateway, "fe80::1");
    EXPECT_EQ(route->link, 4);
    EXPECT_EQ(route->metric, 1024);
    EXPECT_EQ(route->table, unsigned{RT_TABLE_MAIN});
}

TEST(Netlink, RouteOfSeveralWaysTakesTheFirst) {
    struct {
        rtnexthop hop;
        nlattr attribute;
        in_addr gateway;
    } hops = {{16, 0, 0, 5}, {8, RTA_GATEWAY}, {}};
    inet_pton(AF_INET, "192.0.2.254", &hops.gateway);
    Message message(RTM_NEWROUTE);
    message.header<rtmsg>()->rtm_family = AF_INET;
    message.put(RTA_MULTIPATH, &hops, sizeof hops);
    const auto route = parse_route(message.get());
    ASSERT_TRUE(route);
    EXPECT_EQ(route->link, 5);
    EXPECT_EQ(route->gateway, "192.0.2.254");
    EXPECT_EQ(route->metric, -1);

    hops.hop.rtnh_len = 400;
    Message cut(RTM_NEWROUTE);
    cut.header<rtmsg>()->rtm_family = AF_INET;
    cut.put(RTA_MULTIPATH, &hops, sizeof hops);
    EXPECT_EQ(parse_route(cut.get())->gateway, "");
}

TEST(Netlink, CachedRoutesAreNone) {
    Message message(RTM_NEWROUTE);
    auto *header = message.header<rtmsg>();
    header->rtm_family = AF_INET;
    header->rtm_flags = RTM_F_CLONED;
    EXPECT_FALSE(parse_route(message.get()));
}

TEST(Netlink, Neighbour) {
    Message message(RTM_NEWNEIGH);
    auto *header = message.header<ndmsg>();
    header->ndm_family = AF_INET;
    header->ndm_ifindex = 4;
    header->ndm_state = NUD_REACHABLE;
    message.put_address(NDA_DST, "192.0.2.9").put(NDA_LLADDR, mac, 6);
    const auto neighbour = parse_neighbour(message.get());
    ASSERT_TRUE(neighbour);
    EXPECT_EQ(neighbour->address, "192.0.2.9");
    EXPECT_EQ(neighbour->mac, "02:FC:00:00:00:0A");
    EXPECT_EQ(neighbour->state, unsigned{NUD_REACHABLE});
}

}  // namespace
}  // namespace ravd
