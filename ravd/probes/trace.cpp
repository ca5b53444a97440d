// Hop after hop, try after try, one request at a time.
#include "ravd/probes/trace.h"

#include <utility>

#include "ravd/probes/clock.h"

namespace ravd {

Trace::Trace(event_base *base, const TraceOrder &order, Done done) : order_(order), done_(std::move(done)) {
    timer_ = event_new(
        base, -1, 0, [](evutil_socket_t, short, void *self) { static_cast<Trace *>(self)->next(); }, this);
    report_.allowed = socket_.open(order.destination);
    if (report_.allowed) {
        if (order.traffic_class != 0) socket_.set_traffic_class(order.traffic_class);
        readable_ = event_new(
            base, socket_.fd(), EV_READ | EV_PERSIST,
            [](evutil_socket_t, short, void *self) { static_cast<Trace *>(self)->on_readable(); }, this);
        event_add(readable_, nullptr);
    }
    start_timer(timer_, 0);  // never from in here: done may delete the object
}

Trace::~Trace() {
    if (readable_) event_free(readable_);
    event_free(timer_);
}

void Trace::next() {
    if (!report_.allowed) return finish();
    if (report_.hops.empty() || try_ == order_.tries) {
        if (ended_ || report_.hops.size() == order_.maximum_hops) return finish();
        report_.hops.emplace_back();
        try_ = 0;
        socket_.set_hops(static_cast<int>(report_.hops.size()));
    }
    ++try_;
    ++sequence_;
    sent_us_ = now_us();
    start_timer(timer_, socket_.send(sequence_, order_.block_size) ? order_.timeout_ms : 0);
}

void Trace::on_readable() {
    while (const auto answer = socket_.receive()) {
        if (answer->sequence != sequence_) continue;  // too late
        on_answer(*answer);
        return next();
    }
}

void Trace::on_answer(const EchoSocket::Answer &answer) {
    const auto took = static_cast<uint64_t>(now_us() - sent_us_);
    TraceReport::Hop &hop = report_.hops.back();
    hop.address = answer.from.text();
    hop.times_us.push_back(took);
    if (answer.kind != EchoSocket::Answer::Kind::time_exceeded) ended_ = true;
    if (answer.kind == EchoSocket::Answer::Kind::reply && !std::exchange(report_.reached, true))
        report_.response_us = took;
}

void Trace::finish() {
    event_del(timer_);
    if (readable_) event_del(readable_);
    const Done done = std::move(done_);
    const TraceReport report = std::move(report_);
    done(report);
}

}  // namespace ravd
