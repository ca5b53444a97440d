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
        uint64_t &count = by_address_[peer.address];
        if (count >= limits_.guests_per_address) {
            if (count == 0) by_address_.erase(peer.address);
            return "too many connections without a login from one address";
        }
        ++count;
        ++guests_;
    }
    ++admitted_;
    return nullptr;
}

void Admission::release(const Peer &peer) {
    --admitted_;
    if (peer.transport == Transport::local) {
        const auto found = by_uid_.find(peer.uid);
        if (--found->second == 0) by_uid_.erase(found);
    } else {
        const auto found = by_address_.find(peer.address);
        if (--found->second == 0) by_address_.erase(found);
        --guests_;
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
