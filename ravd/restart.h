// The restart of the daemon, asked for while the loop runs: what was answered by then reaches the clients first.
#pragma once

#include <functional>

#include <event2/event.h>

namespace ravd {

class Restart {
 public:
    // all_sent: whether every reply has been handed to the system.
    Restart(event_base *base, std::function<bool()> all_sent);
    ~Restart();
    Restart(const Restart &) = delete;
    Restart &operator=(const Restart &) = delete;

    // Ends the loop as soon as the replies are sent, or after a second, whichever is first: clients that do not read
    // hold nothing up. Asking twice changes nothing.
    void request();
    bool is_requested() const { return rounds_ > 0; }

 private:
    void look();

    event_base *base_;
    std::function<bool()> all_sent_;
    event *timer_;
    int rounds_ = 0;
};

}  // namespace ravd
