// Neighbours as hosts: the parts that read nothing.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "ravd/providers/netlink.h"

namespace ravd {

// A device on a local network: all addresses that one hardware address was seen with.
struct Host {
    std::string mac;
    int link = 0;
    bool active = false;
    std::vector<std::string> ipv4, ipv6;
};

// Neighbours by hardware address, in the order of their first appearance. Those without an answer are left out.
std::vector<Host> hosts_of(const std::vector<Neighbour> &neighbours);

// First names by address, from a text of the form of /etc/hosts.
std::map<std::string, std::string> parse_host_names(std::string_view text);

}  // namespace ravd
