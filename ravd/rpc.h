// The JSON-RPC 2.0 envelope: a message's text in, the text of its reply out. Batches are taken request by request, so
// that a long one can be served in turns.
#pragma once

#include <memory>
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
    enum class Step { more, waiting, done };

    // message: the bytes of one message, not needed any more on return.
    Exchange(std::string_view message, const ClientLimits &limits);
    // Abandons a reply that is still waited for.
    ~Exchange();
    Exchange(const Exchange &) = delete;
    Exchange &operator=(const Exchange &) = delete;

    // Serves the next request, or goes on with one whose reply was deferred. waiting: the reply has not been given yet;
    // caller's resume() tells when.
    Step step(Services &services, Member &caller);

    // The reply, without its line feed, once done; empty when there is none to send. Given away.
    std::string take_reply() { return std::move(reply_); }

 private:
    void serve(Services &services, Member &caller);
    bool take_deferred();
    void end_reply(size_t before, const Fault &fault);
    void refuse_batch(const Fault &fault);

    Json message_;  // null when it was no JSON
    std::string reply_;
    const json_t *request_ = nullptr;  // the present one, of message_
    size_t begin_ = 0;                 // of its reply, in a batch of the separator before it
    size_t next_ = 0;                  // in a batch
    std::shared_ptr<Deferred> deferred_;
};

}  // namespace ravd
