// Handlers that are told of changes after they were made.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>

#include <event2/event.h>

#include "ravd/handlers/programs.h"
#include "ravd/model/model.h"
#include "ravd/model/parts.h"

namespace ravd {

// Calls the handlers of the node that has changed and of every one above it, in the next round of the loop: once for
// all changes until then, and once more for what changes while one runs. What they answer is not looked at.
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
        bool wanted = true;
        bool running = false;
    };

    void want(std::string program, std::string path);
    void run_wanted();
    void ended(const std::string &key);

    Model &model_;
    Programs &programs_;
    event *const turn_;
    std::unordered_map<std::string, State> states_;  // those wanted or running, by program and path
    bool muted_ = false;
};

}  // namespace ravd
