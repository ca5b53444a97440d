// Two timers.
#include "ravd/transfer/pace.h"

#include <utility>

namespace ravd {

namespace {

timeval span(uint64_t ms) {
    return {static_cast<time_t>(ms / 1000), static_cast<suseconds_t>(ms % 1000 * 1000)};
}

}  // namespace

Pace::Pace(event_base *base, const ClientLimits &limits, std::function<uint64_t()> moved,
           std::function<void()> too_slow)
    : moved_(std::move(moved)), too_slow_(std::move(too_slow)), floor_(limits.transfer_floor) {
    whole_ = event_new(
        base, -1, 0, [](evutil_socket_t, short, void *self) { static_cast<Pace *>(self)->end(); }, this);
    stall_ = event_new(
        base, -1, EV_PERSIST, [](evutil_socket_t, short, void *self) { static_cast<Pace *>(self)->look(); }, this);
    const timeval most = span(limits.transfer_ms), each = span(limits.transfer_stall_ms);
    event_add(whole_, &most);
    event_add(stall_, &each);
}

Pace::~Pace() {
    event_free(whole_);
    event_free(stall_);
}

void Pace::look() {
    const uint64_t now = moved_();
    if (now - std::exchange(before_, now) < floor_) end();
}

void Pace::end() {
    event_del(whole_);
    event_del(stall_);
    const auto too_slow = std::move(too_slow_);
    too_slow();
}

}  // namespace ravd
