// A short timer that looks whether the output buffers are empty: the loop has no other word for "all is written".
#include "ravd/restart.h"

#include <utility>

#include "ravd/log.h"

namespace ravd {

namespace {

constexpr timeval round_time = {0, 10000};
constexpr int most_rounds = 100;

}  // namespace

Restart::Restart(event_base *base, std::function<bool()> all_sent)
    : base_(base),
      all_sent_(std::move(all_sent)),
      timer_(event_new(
          base_, -1, EV_PERSIST, [](evutil_socket_t, short, void *self) { static_cast<Restart *>(self)->look(); },
          this)) {}

Restart::~Restart() {
    event_free(timer_);
}

void Restart::request() {
    if (is_requested()) return;
    log_info("restarting");
    rounds_ = 1;
    event_add(timer_, &round_time);
}

void Restart::look() {
    if (all_sent_() || rounds_++ >= most_rounds) event_base_loopbreak(base_);
}

}  // namespace ravd
