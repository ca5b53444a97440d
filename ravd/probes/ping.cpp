// One request at a time: its reply, a complaint or the time-out is followed by the next.
#include "ravd/probes/ping.h"

#include <algorithm>
#include <utility>

#include "ravd/probes/clock.h"

namespace ravd {

Ping::Ping(event_base *base, const PingOrder &order, Done done) : order_(order), done_(std::move(done)) {
    timer_ = event_new(
        base, -1, 0,
        [](evutil_socket_t, short, void *self) {
            Ping &ping = *static_cast<Ping *>(self);
            ping.sequence_ == 0 ? ping.next() : ping.count(false);
        },
        this);
    report_.allowed = socket_.open(order.destination);
    if (report_.allowed) {
        if (order.traffic_class != 0) socket_.set_traffic_class(order.traffic_class);
        readable_ = event_new(
            base, socket_.fd(), EV_READ | EV_PERSIST,
            [](evutil_socket_t, short, void *self) { static_cast<Ping *>(self)->on_readable(); }, this);
        event_add(readable_, nullptr);
    }
    start_timer(timer_, 0);  // never from in here: done may delete the object
}

Ping::~Ping() {
    if (readable_) event_free(readable_);
    event_free(timer_);
}

void Ping::next() {
    if (!report_.allowed || report_.successes + report_.failures == order_.repetitions) return finish();
    ++sequence_;
    sent_us_ = now_us();
    start_timer(timer_, socket_.send(sequence_, order_.block_size) ? order_.timeout_ms : 0);
}

void Ping::on_readable() {
    while (const auto answer = socket_.receive()) {
        if (answer->sequence != sequence_) continue;  // too late
        return count(answer->kind == EchoSocket::Answer::Kind::reply);
    }
}

void Ping::count(bool answered) {
    if (answered) {
        const auto took = static_cast<uint64_t>(now_us() - sent_us_);
        report_.minimum_us = report_.successes == 0 ? took : std::min(report_.minimum_us, took);
        report_.maximum_us = std::max(report_.maximum_us, took);
        report_.successes++;
        total_us_ += took;
    } else {
        report_.failures++;
    }
    next();
}

void Ping::finish() {
    if (report_.successes > 0) report_.average_us = total_us_ / report_.successes;
    event_del(timer_);
    if (readable_) event_del(readable_);
    const Done done = std::move(done_);
    const PingReport report = report_;
    done(report);
}

}  // namespace ravd
