#include "ravd/probes/lookup.h"

#include <cstring>
#include <utility>

#include "ravd/probes/clock.h"

namespace ravd {

Lookup::Lookup(event_base *base, const std::string &host, int family, Done done)
    : done_(std::move(done)),
      told_(event_new(
          base, -1, 0, [](evutil_socket_t, short, void *self) { static_cast<Lookup *>(self)->tell(); }, this)),
      resolver_(base, EVDNS_BASE_INITIALIZE_NAMESERVERS) {
    if (!resolver_.dns()) {
        start_timer(told_, 0);
        return;
    }
    evutil_addrinfo hints = {};
    hints.ai_family = family;
    hints.ai_socktype = SOCK_DGRAM;
    resolver_.ask_host(host.c_str(), hints, [this](const evutil_addrinfo *list) {
        if (list) {
            address_.emplace();
            address_->size = static_cast<socklen_t>(list->ai_addrlen);
            memcpy(&address_->storage, list->ai_addr, list->ai_addrlen);
        }
        start_timer(told_, 0);
    });
}

Lookup::~Lookup() {
    event_free(told_);
}

void Lookup::tell() {
    const Done done = std::move(done_);
    const std::optional<SocketAddress> address = address_;
    done(address);
}

}  // namespace ravd
