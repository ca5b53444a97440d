// Ends what takes too long: as a whole, or because too little of it moves.
#pragma once

#include <cstdint>
#include <functional>

#include <event2/event.h>

#include "ravd/limits.h"

namespace ravd {

class Pace {
 public:
    // moved: the bytes so far. too_slow is called once, by the loop, when limits.transfer_ms are over, or when less
    // than limits.transfer_floor bytes have moved in limits.transfer_stall_ms. The object may be deleted in it.
    Pace(event_base *base, const ClientLimits &limits, std::function<uint64_t()> moved, std::function<void()> too_slow);
    ~Pace();
    Pace(const Pace &) = delete;
    Pace &operator=(const Pace &) = delete;

 private:
    void look();
    void end();

    std::function<uint64_t()> moved_;
    std::function<void()> too_slow_;
    uint64_t floor_;
    uint64_t before_ = 0;
    event *whole_, *stall_;
};

}  // namespace ravd
