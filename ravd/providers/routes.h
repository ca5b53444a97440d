// Routes in the data model's words: the parts that read nothing.
#pragma once

#include "ravd/providers/netlink.h"

namespace ravd {

// "Normal", "Receive", "Blackhole", ...
const char *route_type(const Route &route);
// Who put it there: "Static", "DHCPv4", "OSPF", "RIP"; "RA", "RIPng" and "DHCPv6" for IPv6.
const char *route_origin(const Route &route);
// Put by hand: neither by the kernel nor learnt.
bool is_static(const Route &route);

}  // namespace ravd
