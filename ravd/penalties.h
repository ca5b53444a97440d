// Refused logins, counted for each peer (a local user, or an address): the first few cost nothing, then each one sends
// its peer into a pause, twice as long as the one before. Nobody else's attempts are touched.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string_view>

#include "ravd/limits.h"
#include "ravd/peer.h"

namespace ravd {

// What counts as one peer: two connections of it have the same key.
using PeerKey = std::array<uint8_t, 17>;
PeerKey key_of(const Peer &peer);

class Penalties {
 public:
    // Gives milliseconds that never go back.
    using Clock = std::function<uint64_t()>;

    // Borrows limits.
    Penalties(const ClientLimits &limits, Clock now) : limits_(limits), now_(std::move(now)) {}

    // Takes up an attempt, which one of the three below must end. Returns false when it must wait: for the end of the
    // peer's pause, or for the outcome of attempts under way. There are never more of them than refusals still are
    // free, or one, so that nobody gains by trying on many connections at once.
    bool begin(const PeerKey &peer);
    // Milliseconds that are left of the peer's pause; 0 when it is in none.
    uint64_t pause(const PeerKey &peer) const;

    void refused(const PeerKey &peer, std::string_view name);
    // Forgives the peer when all that it was refused was under this name: who mistyped a password starts anew, but
    // nobody gets rid of guesses at other names by logging in under the own one.
    void accepted(const PeerKey &peer, std::string_view name);
    // The attempt was never made.
    void cancelled(const PeerKey &peer);

    // A token was refused. Counts like a refused login, but for the text that the peer's last one had for a name:
    // clients present a name as a token when it was refused, and that is one try.
    void refused_token(const PeerKey &peer, std::string_view text);

    size_t peers() const { return records_.size(); }

 private:
    struct Record {
        uint64_t refusals = 0;
        uint64_t under_way = 0;
        uint64_t pause_end = 0;  // both in the clock's time
        uint64_t forgotten_at = 0;
        size_t name = 0;  // the last one refused, as a hash: it may be somebody's secret
        bool several_names = false;
        bool token_is_free = false;
    };

    Record *find(const PeerKey &peer);
    Record *find_or_make(const PeerKey &peer);
    bool make_room();
    void count(Record &record, std::string_view name);

    const ClientLimits &limits_;
    Clock now_;
    std::map<PeerKey, Record> records_;  // at most limits.login_peers
};

}  // namespace ravd
