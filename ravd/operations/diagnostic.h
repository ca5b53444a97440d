// A method of the model that takes its time: it has a place among those that run, the reply of its client, and a limit
// on its time.
#pragma once

#include <cstddef>
#include <memory>

#include <event2/event.h>

#include "ravd/methods.h"
#include "ravd/model/operation.h"

namespace ravd {

// To be made with start_diagnostic(). Deletes itself when it has finished, when its time is over, or when its client
// goes.
class Diagnostic {
 public:
    virtual ~Diagnostic();
    Diagnostic(const Diagnostic &) = delete;
    Diagnostic &operator=(const Diagnostic &) = delete;

    static size_t running();

 protected:
    // Defers the reply of call.
    Diagnostic(const Call &call, const Operation &operation);

    event_base *base() const { return base_; }
    // Both give the reply and delete the object.
    void finish(const NamedValues &outputs);
    void fail(const Fault &fault);

 private:
    event_base *base_;
    const SchemaNode &method_;
    std::shared_ptr<Deferred> reply_;
    event *limit_;
};

// Begins one of that kind; 9004 when too many run.
template <typename Kind>
Fault start_diagnostic(const Call &call, const Operation &operation) {
    if (Diagnostic::running() >= call.services.limits.diagnostics)
        return {9004, "too many diagnostics run at once", {}};
    new Kind(call, operation);  // which deletes itself
    return {};
}

}  // namespace ravd
