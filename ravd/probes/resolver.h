// A resolver that may be let go of while questions are on their way: what its answers still refer to then stays until
// the last of them.
#pragma once

#include <functional>
#include <memory>

#include <event2/dns.h>
#include <event2/event.h>

namespace ravd {

class Resolver {
 public:
    // flags: of evdns_base_new().
    Resolver(event_base *base, int flags);
    // Nobody is told of answers any more. Questions on their way hold memory and sockets until the loop has gone round:
    // so it must do so once more before the base is freed.
    ~Resolver();
    Resolver(const Resolver &) = delete;
    Resolver &operator=(const Resolver &) = delete;

    evdns_base *dns();  // null when none can be had

    // Addresses of a host, as getaddrinfo() gives them; null when there are none. Borrowed. May be called at once.
    using OnAddresses = std::function<void(const evutil_addrinfo *list)>;
    void ask_host(const char *host, const evutil_addrinfo &hints, OnAddresses on_addresses);

    // One question for addresses: result is DNS_ERR_*; addresses are count of 4 or 16 bytes each.
    using OnRecords = std::function<void(int result, const void *addresses, int count)>;
    void ask_records(const char *name, int family, OnRecords on_records);

 private:
    struct State;
    struct Question;
    std::shared_ptr<State> state_;
};

}  // namespace ravd
