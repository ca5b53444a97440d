#include "ravd/operations/diagnostic.h"

#include "ravd/probes/clock.h"

namespace ravd {

namespace {

size_t count;

}  // namespace

Diagnostic::Diagnostic(const Call &call, const Operation &operation)
    : base_(call.services.base),
      method_(*operation.method),
      reply_(call.defer()),
      limit_(event_new(
          base_, -1, 0,
          [](evutil_socket_t, short, void *self) {
              static_cast<Diagnostic *>(self)->fail({9002, "not finished in time", {}});
          },
          this)) {
    ++count;
    start_timer(limit_, static_cast<unsigned>(call.services.limits.diagnostic_ms));
    reply_->on_abandoned([this] { delete this; });
}

Diagnostic::~Diagnostic() {
    event_free(limit_);
    --count;
}

size_t Diagnostic::running() {
    return count;
}

void Diagnostic::finish(const NamedValues &outputs) {
    reply_->answer({}, operation_result(method_, outputs));
    delete this;
}

void Diagnostic::fail(const Fault &fault) {
    reply_->answer(fault);
    delete this;
}

}  // namespace ravd
