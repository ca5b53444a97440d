// The address of a host: what stands in /etc/hosts, and else what the machine's name servers say.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include <event2/event.h>

#include "ravd/probes/echo_socket.h"
#include "ravd/probes/resolver.h"

namespace ravd {

class Lookup {
 public:
    using Done = std::function<void(const std::optional<SocketAddress> &address)>;

    // family: AF_INET, AF_INET6, or AF_UNSPEC for the first address of either kind. done is called once, on the loop
    // and never from in here, unless the object goes before; it may delete the object.
    Lookup(event_base *base, const std::string &host, int family, Done done);
    ~Lookup();
    Lookup(const Lookup &) = delete;
    Lookup &operator=(const Lookup &) = delete;

 private:
    void tell();

    Done done_;
    std::optional<SocketAddress> address_;
    event *told_;
    Resolver resolver_;
};

}  // namespace ravd
