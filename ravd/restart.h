// The restart of the device, asked for while the loop runs: what was answered by then reaches the clients first. Where
// the programs of the device's maker hold one by the name "reboot", it is run; else the daemon is started anew.
#pragma once

#include <functional>

#include <event2/event.h>

namespace ravd {

class Programs;

class Restart {
 public:
    // all_sent: whether every reply has been handed to the system. programs: borrowed.
    Restart(event_base *base, Programs &programs, std::function<bool()> all_sent);
    ~Restart();
    Restart(const Restart &) = delete;
    Restart &operator=(const Restart &) = delete;

    // Restarts as soon as the replies are sent, or after a second, whichever is first: clients that do not read hold
    // nothing up. Asking twice changes nothing.
    void request();

    // The daemon is to be started anew: the loop has been ended for that.
    bool is_due() const { return due_; }

 private:
    void look();
    void run_program();

    event_base *base_;
    Programs &programs_;
    std::function<bool()> all_sent_;
    event *timer_;
    int rounds_ = 0;  // since it was begun; 0: it was not
    bool due_ = false;
};

}  // namespace ravd
