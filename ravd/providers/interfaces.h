// Links and addresses in the data model's words: the parts that read nothing.
#pragma once

#include <string>

#include "ravd/providers/netlink.h"

namespace ravd {

// "Up", "Down", "Dormant", ...: a link without a state of its own, as the loopback is, is up when it is running.
const char *link_status(const Link &link);

// Hardware, or an end of a virtual cable, which is a container's hardware; no radio: wireless tells that.
bool is_ethernet_port(const Link &link, bool wireless);

// "255.255.255.0" for 24; lengths above 32 count as 32.
std::string mask_text(unsigned prefix_length);

const char *ipv4_addressing_type(const Address &address);
const char *ipv6_status(const Address &address);
const char *ipv6_origin(const Address &address);

// The link of that name is a radio.
bool is_wireless(const std::string &link_name);

}  // namespace ravd
