// The way to a host: echo requests with one more hop each, and who says that they ended there.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <event2/event.h>

#include "ravd/probes/echo_socket.h"

namespace ravd {

struct TraceOrder {
    SocketAddress destination;
    unsigned tries = 3;  // for each hop
    unsigned timeout_ms = 5000;
    size_t block_size = 38;
    int traffic_class = 0;
    unsigned maximum_hops = 30;
};

struct TraceReport {
    struct Hop {
        std::string address;             // empty: nobody answered
        std::vector<uint64_t> times_us;  // of each try that was answered
    };
    bool allowed = true;
    bool reached = false;
    uint64_t response_us = 0;  // of the destination's first answer
    std::vector<Hop> hops;
};

class Trace {
 public:
    using Done = std::function<void(const TraceReport &report)>;

    // As Ping.
    Trace(event_base *base, const TraceOrder &order, Done done);
    ~Trace();
    Trace(const Trace &) = delete;
    Trace &operator=(const Trace &) = delete;

 private:
    void next();
    void on_readable();
    void on_answer(const EchoSocket::Answer &answer);
    void finish();

    TraceOrder order_;
    Done done_;
    EchoSocket socket_;
    TraceReport report_;
    unsigned try_ = 0;  // of the present hop
    uint16_t sequence_ = 0;
    int64_t sent_us_ = 0;
    bool ended_ = false;  // the present hop is the last one
    event *readable_ = nullptr;
    event *timer_;
};

}  // namespace ravd
