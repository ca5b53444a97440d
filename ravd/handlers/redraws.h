// Handlers that are told of changes after they were made.
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

#include <event2/event.h>

#include "ravd/handlers/programs.h"
#include "ravd/model/model.h"
#include "ravd/model/parts.h"

namespace ravd {

// Calls the handlers of the node that has changed and of every one above it, in the next round of the loop: once for
// all changes until then, and once more for what changes while one runs. A few run at a time; none is left out,
// whatever else runs. What they answer is not looked at.
class Redraws : public RedrawListener {
 public:
    // Becomes the model's.
    Redraws(event_base *base, Model &model, Programs &programs);
    ~Redraws() override;
    Redraws(const Redraws &) = delete;
    Redraws &operator=(const Redraws &) = delete;

    void changed(std::string_view path) override;
    // Changes that handlers make are told to none: that would have no end.
    void mute(bool muted) { muted_ = muted; }

 private:
    struct State {
        std::string program, path;
        bool running = false;
        bool again = false;  // something has changed while it runs
    };

    void want(std::string program, std::string path);
    void wake(int seconds);
    void run_some();
    void ended(const std::string &key, const ProgramOutcome &outcome);

    Model &model_;
    Programs &programs_;
    event *const turn_;
    std::unordered_map<std::string, State> states_;  // those that wait or run, by program and path
    std::deque<std::string> waiting_;                // their keys
    size_t running_ = 0;
    bool muted_ = false;
};

}  // namespace ravd
