// The resolver's configuration: the part that reads nothing.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ravd {

// The addresses of the name servers in a text of the form of /etc/resolv.conf, in their order, each once, without
// scopes; what is no address is left out.
std::vector<std::string> parse_name_servers(std::string_view text);

// The address that word begins with, in its usual form, without a scope ("%eth0"); empty when it is none.
std::string address_word(std::string_view word);

}  // namespace ravd
