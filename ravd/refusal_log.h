// Log lines about refused logins. A flood of refusals is cut: of those in one second the first few have a line each,
// and the next line says how many had none.
#pragma once

#include <cstdint>
#include <functional>

#include "ravd/peer.h"

namespace ravd {

class RefusalLog {
 public:
    // now: milliseconds that never go back.
    explicit RefusalLog(std::function<uint64_t()> now) : now_(std::move(now)) {}

    // One warning. user: a name that may stand in the log, or null for a text that may be anything, even a secret.
    void tell(const Peer &peer, const char *user, const char *reason);

 private:
    std::function<uint64_t()> now_;
    uint64_t second_ = 0;  // the present one
    uint64_t told_ = 0;    // in it
    uint64_t untold_ = 0;  // since the last line
};

}  // namespace ravd
