// Pings: echo requests one after another, timed. Runs on the loop and holds nothing up.
#pragma once

#include <cstdint>
#include <functional>

#include <event2/event.h>

#include "ravd/probes/echo_socket.h"

namespace ravd {

struct PingOrder {
    SocketAddress destination;
    unsigned repetitions = 3;
    unsigned timeout_ms = 1000;  // for each reply
    size_t block_size = 64;      // bytes of data
    int traffic_class = 0;       // the whole octet
};

struct PingReport {
    bool allowed = true;  // false: the system lets no request out
    unsigned successes = 0, failures = 0;
    uint64_t average_us = 0, minimum_us = 0, maximum_us = 0;  // of the successes
};

class Ping {
 public:
    using Done = std::function<void(const PingReport &report)>;

    // Begins; done is called once, on the loop, unless the object goes before. It may delete the object.
    Ping(event_base *base, const PingOrder &order, Done done);
    ~Ping();
    Ping(const Ping &) = delete;
    Ping &operator=(const Ping &) = delete;

 private:
    void next();
    void on_readable();
    void count(bool answered);
    void finish();

    PingOrder order_;
    Done done_;
    EchoSocket socket_;
    PingReport report_;
    uint64_t total_us_ = 0;
    uint16_t sequence_ = 0;  // of the request that is on its way, from 1
    int64_t sent_us_ = 0;
    event *readable_ = nullptr;
    event *timer_;  // the present request's end, or the next one's beginning
};

}  // namespace ravd
