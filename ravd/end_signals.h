// SIGTERM and SIGINT, which end the daemon.
#pragma once

#include <functional>
#include <string>

#include <event2/event.h>

#include "ravd/descriptor.h"

namespace ravd {

// They are blocked from the making of the first one to the end of the process, and what it is started anew as: one that
// comes while nobody reads them waits for the next who does.
class EndSignals {
 public:
    // call is called on the loop for each that has come.
    EndSignals(event_base *base, std::function<void()> call);
    ~EndSignals();
    EndSignals(const EndSignals &) = delete;
    EndSignals &operator=(const EndSignals &) = delete;

    // Begins to read them. Returns false and sets error when that can't be.
    bool open(std::string &error);

 private:
    void take();

    event_base *base_;
    std::function<void()> call_;
    Descriptor source_;
    event *on_signal_ = nullptr;
};

}  // namespace ravd
