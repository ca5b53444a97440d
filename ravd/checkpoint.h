// A checkpoint: the configuration of a moment, which comes back unless what is done after it is confirmed in time. It
// lives in memory only: a restart in between comes up with what was saved before.
#pragma once

#include <functional>
#include <string>

#include <event2/event.h>

namespace ravd {

class Checkpoint {
 public:
    // restore is called on the loop, with the document, when the time is over.
    Checkpoint(event_base *base, std::function<void(const std::string &document)> restore);
    ~Checkpoint();
    Checkpoint(const Checkpoint &) = delete;
    Checkpoint &operator=(const Checkpoint &) = delete;

    bool is_open() const { return !document_.empty(); }
    // There must be none open.
    void open(std::string document, unsigned seconds);
    // Forgets the one that is open. False when there is none.
    bool close();

 private:
    void expire();

    std::function<void(const std::string &document)> restore_;
    std::string document_;  // empty: none is open
    event *timer_;
};

}  // namespace ravd
