// Work that would hold up the loop, done by threads of its own: hashing passwords above all.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include <event2/event.h>

namespace ravd {

class Workers {
 public:
    using Job = std::function<void()>;

    // threads run jobs; at most queue jobs wait for one. The threads are started with the first job.
    Workers(event_base *base, size_t threads, size_t queue);
    // Waits for the jobs that run; those that wait, and every done() not yet called, are dropped.
    ~Workers();

    // Runs work on a thread, and then done on the loop. work must share nothing with the loop but what it owns. Returns
    // false, with neither called, when too many jobs wait already.
    bool post(Job work, Job done);

 private:
    struct Shared;
    std::unique_ptr<Shared> shared_;
};

}  // namespace ravd
