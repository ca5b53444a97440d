// Questions to one name server, one after another, timed.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <event2/event.h>

#include "ravd/probes/resolver.h"

namespace ravd {

struct NameOrder {
    std::string name;
    std::string
        server;  // ADDRESS or ADDRESS:PORT, a version 6 address with a port in brackets; empty: the machine's first
    unsigned repetitions = 1;
    unsigned timeout_ms = 5000;  // for each
};

struct NameReport {
    struct Answer {
        enum class Kind { success, not_resolved, timed_out, refused } kind = Kind::timed_out;
        std::vector<std::string> addresses;
        uint64_t took_us = 0;
    };
    bool has_server = true;  // false: order.server is no address, or the machine has none
    std::string server;      // its address
    std::vector<Answer> answers;
};

class NameQuery {
 public:
    using Done = std::function<void(const NameReport &report)>;

    // As Ping.
    NameQuery(event_base *base, const NameOrder &order, Done done);
    ~NameQuery();
    NameQuery(const NameQuery &) = delete;
    NameQuery &operator=(const NameQuery &) = delete;

 private:
    bool set_server(event_base *base);
    void next();
    void on_records(int family, int result, const void *addresses, int count);

    NameOrder order_;
    Done done_;
    NameReport report_;
    Resolver resolver_;
    int open_ = 0;  // questions of the present repetition
    int64_t sent_us_ = 0;
    event *timer_;
};

}  // namespace ravd
