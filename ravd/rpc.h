// The JSON-RPC 2.0 envelope: a message's text in, the text of its reply out. Batches are taken request by request, so
// that a long one can be served in turns.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include <jansson.h>

#include "ravd/methods.h"
#include "ravd/model/value.h"

namespace ravd {

// Appends an error object: code, message and, where the fault has them, its detail and data.
void append_error(std::string &reply, const Fault &fault);
// Appends a whole error reply. id: borrowed, or null for the id null.
void append_error_reply(std::string &reply, const json_t *id, const Fault &fault);

// One message on its way to its reply.
class Exchange {
 public:
    // message: the bytes of one message, not needed any more on return.
    Exchange(std::string_view message, const ClientLimits &limits);

    // Serves the next request. Returns true when the message is done with.
    bool step(Services &services, Member &caller);

    // The reply, without its line feed, once done; empty when there is none to send. Given away.
    std::string take_reply() { return std::move(reply_); }

 private:
    void serve(const json_t *request, Services &services, Member &caller);
    void refuse_batch(const Fault &fault);

    Json message_;  // null when it was no JSON
    std::string reply_;
    size_t next_ = 0;  // in a batch
};

}  // namespace ravd
