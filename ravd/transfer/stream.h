// A conversation over a socket: all that there is to send, then all that comes, to its end.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include <event2/event.h>

#include "ravd/descriptor.h"

namespace ravd {

class Stream {
 public:
    struct Calls {
        std::function<bool(std::string_view bytes)> received;  // false: it has all it wants, which ends it
        std::function<void(int problem)> ended;  // once; 0 or an error number; the stream may be deleted in it
    };

    // socket: non-blocking; it may still be connecting. content: borrowed, sent and then ended; empty: nothing is sent
    // and our side stays open. Nothing is called from in here.
    Stream(event_base *base, Descriptor socket, std::string_view content, Calls calls);
    ~Stream();
    Stream(const Stream &) = delete;
    Stream &operator=(const Stream &) = delete;

    uint64_t sent() const { return sent_; }

 private:
    void writable();
    void readable();
    void end(int problem);

    Descriptor socket_;
    std::string_view content_;
    Calls calls_;
    uint64_t sent_ = 0;
    event *write_, *read_;
};

}  // namespace ravd
