// Changes of the model that handlers take part in: they are asked before the change is made, and each can refuse it.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ravd/handlers/programs.h"
#include "ravd/handlers/redraws.h"
#include "ravd/methods.h"
#include "ravd/model/handled_changes.h"

namespace ravd {

struct HandlerAnswer;

// One request after another: what handlers are asked never mixes. Requests without handlers wait for nobody.
class Changes {
 public:
    // The operation on the model, which may be run several times.
    using Make = std::function<Fault(std::string &result)>;
    // What gives the reply when it comes later.
    using Defer = std::function<std::shared_ptr<Deferred>()>;

    // waiting: the requests that may wait for others.
    Changes(Model &model, Programs &programs, Redraws &redraws, size_t waiting);

    // Makes a change for caller: at once where no handler takes part in it. Else the reply is deferred, and the
    // handlers are asked one by one. When all have done what they were asked for, make is run again, with all its
    // checks. When one refuses or fails, or the client has gone, or the change can't be made any more, those that have
    // done theirs are asked to undo it, the last one first. 9001 when the client belongs to a handler; 9004 when too
    // many wait.
    Fault make(const Member &caller, Make make, const Defer &defer, std::string &result);
    // The same for a change of the daemon's own: done is called when it was made or refused, perhaps at once.
    using Done = std::function<void(const Fault &fault)>;
    void make_own(Make make, Done done);

 private:
    struct Job {
        Make make;
        std::shared_ptr<Deferred> reply;  // null: it is the daemon's own
        const Member *caller;             // while the reply is wanted; null likewise
        Done own_done;
        Viewer viewer;
        std::vector<HandledChange> changes;
        size_t done = 0;  // of changes, the first ones
        Fault fault;

        bool is_wanted() const { return !reply || reply->is_wanted(); }
    };

    Fault run(const Make &make, ChangeGate &gate, std::string &result);
    void next();
    void begin();
    void ask();
    void take(const HandlerAnswer &answer);
    void commit();
    void undo(Fault fault);
    void undo_last();
    void finish(Fault fault, std::string result = {});

    Model &model_;
    Programs &programs_;
    Redraws &redraws_;
    const size_t limit_;
    std::deque<Job> waiting_;
    std::optional<Job> job_;  // the present one
};

}  // namespace ravd
