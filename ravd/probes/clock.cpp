// Time for probes.
#include "ravd/probes/clock.h"

#include <ctime>

namespace ravd {

int64_t now_us() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

void start_timer(event *timer, unsigned milliseconds) {
    const timeval span = {static_cast<time_t>(milliseconds / 1000),
                          static_cast<suseconds_t>(milliseconds % 1000 * 1000)};
    event_add(timer, &span);
}

}  // namespace ravd
