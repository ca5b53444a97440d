// How many connections are let in: in all, of one user, and from the network.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <unordered_map>

#include "ravd/limits.h"
#include "ravd/peer.h"

namespace ravd {

class Admission {
 public:
    // connections: how many in all, see connection_limit().
    Admission(const ClientLimits &limits, uint64_t connections) : limits_(limits), connections_(connections) {}

    // Counts the peer in and returns null, or returns which limit it would break.
    const char *admit(const Peer &peer);
    // Counts out a peer that was admitted. guest: as which it counted last.
    void release(const Peer &peer, bool guest);

    // A TCP peer that was admitted counts as a guest, until it logs in and when it has logged out. Nobody is turned
    // away then: more guests than the limit can come about.
    void count_guest(const Peer &peer);
    void discount_guest(const Peer &peer);

 private:
    const ClientLimits &limits_;
    uint64_t connections_;
    uint64_t admitted_ = 0, guests_ = 0;
    std::unordered_map<uid_t, uint64_t> by_uid_;
    std::map<std::array<uint8_t, 16>, uint64_t> by_address_;
};

// Raises the soft limit of descriptors to the hard one, and returns how many connections may be held: the limit's
// number, or its share of the descriptors where that is less.
uint64_t connection_limit(const ClientLimits &limits);

}  // namespace ravd
