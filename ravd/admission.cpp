// The counts behind the limits on connections.
#include "ravd/admission.h"

#include <algorithm>

#include <sys/resource.h>

namespace ravd {

const char *Admission::admit(const Peer &peer) {
    if (admitted_ >= connections_) return "too many connections";
    if (peer.transport == Transport::local) {
        uint64_t &count = by_uid_[peer.uid];
        if (count >= limits_.per_uid) return "too many connections of one user";
        ++count;
    } else {
        if (guests_ >= limits_.guests) return "too many connections without a login";
        const auto found = by_address_.find(peer.address);
        if ((found == by_address_.end() ? 0 : found->second) >= limits_.guests_per_address) {
            return "too many connections without a login from one address";
        }
        count_guest(peer);
    }
    ++admitted_;
    return nullptr;
}

void Admission::count_guest(const Peer &peer) {
    ++by_address_[peer.address];
    ++guests_;
}

void Admission::discount_guest(const Peer &peer) {
    const auto found = by_address_.find(peer.address);
    if (--found->second == 0) by_address_.erase(found);
    --guests_;
}

void Admission::release(const Peer &peer, bool guest) {
    --admitted_;
    if (peer.transport == Transport::local) {
        const auto found = by_uid_.find(peer.uid);
        if (--found->second == 0) by_uid_.erase(found);
    } else if (guest) {
        discount_guest(peer);
    }
}

uint64_t connection_limit(const ClientLimits &limits) {
    rlimit descriptors = {};
    if (getrlimit(RLIMIT_NOFILE, &descriptors) != 0) return limits.connections;
    descriptors.rlim_cur = descriptors.rlim_max;
    setrlimit(RLIMIT_NOFILE, &descriptors);
    getrlimit(RLIMIT_NOFILE, &descriptors);
    if (descriptors.rlim_cur == RLIM_INFINITY) return limits.connections;
    return std::min<uint64_t>(limits.connections, descriptors.rlim_cur / 100 * limits.descriptors_percent +
                                                      descriptors.rlim_cur % 100 * limits.descriptors_percent / 100);
}

}  // namespace ravd
