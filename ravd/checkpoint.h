// A checkpoint: the configuration of a moment, which comes back unless what is done after it is confirmed in time. It
// lives in memory only: a restart in between comes up with what was saved before.
#pragma once

#include <functional>
#include <string>

#include <event2/event.h>

namespace ravd {

class Checkpoint {
 public:
    // restore is called on the loop, with the document, when the time is over; restored() is to be called after it.
    Checkpoint(event_base *base, std::function<void(const std::string &document)> restore);
    ~Checkpoint();
    Checkpoint(const Checkpoint &) = delete;
    Checkpoint &operator=(const Checkpoint &) = delete;

    // Until it is confirmed or has come back.
    bool is_open() const { return !document_.empty() || is_restoring_; }
    // There must be none open.
    void open(std::string document, unsigned seconds);
    // Forgets the one that waits for that. False when there is none, or its time is over.
    bool confirm();
    // Forgets the one that is open, also while it is coming back.
    void forget();

    // From the call of restore until restored() or forget().
    bool is_restoring() const { return is_restoring_; }
    void restored() { is_restoring_ = false; }

 private:
    void expire();

    std::function<void(const std::string &document)> restore_;
    std::string document_;  // empty: none waits
    bool is_restoring_ = false;
    event *timer_;
};

}  // namespace ravd
