// Time for probes.
#pragma once

#include <cstdint>

#include <event2/event.h>

namespace ravd {

// Microseconds of the monotonic clock.
int64_t now_us();
// Starts a timer of the loop anew.
void start_timer(event *timer, unsigned milliseconds);

}  // namespace ravd
