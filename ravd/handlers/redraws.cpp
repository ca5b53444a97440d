// Redrawing, as rarely as possible.
#include "ravd/handlers/redraws.h"

#include <utility>

#include "ravd/handlers/questions.h"
#include "ravd/log.h"
#include "ravd/model/resolve.h"

namespace ravd {

namespace {

constexpr size_t at_once = 4;

}  // namespace

Redraws::Redraws(event_base *base, Model &model, Programs &programs)
    : model_(model),
      programs_(programs),
      turn_(event_new(
          base, -1, 0, [](evutil_socket_t, short, void *self) { static_cast<Redraws *>(self)->run_some(); }, this)) {
    model_.parts().redraws = this;
}

Redraws::~Redraws() {
    model_.parts().redraws = nullptr;
    event_free(turn_);
}

void Redraws::changed(std::string_view path) {
    Path parsed;
    if (muted_ || !parse_path(*model_.parts().schema, path, parsed)) return;
    std::string prefix;
    const auto visit = [&](const SchemaNode &node) {
        const bool has_one = node.handlers && !node.handlers->of(Action::redraw).empty();
        if (has_one) want(node.handlers->of(Action::redraw), prefix.empty() ? "." : prefix);
    };
    visit(model_.parts().schema->root);
    for (const auto &[text, node] : parsed.elements) {
        prefix += text;
        if (!node->is_parameter()) prefix += '.';
        visit(*node);
    }
}

void Redraws::want(std::string program, std::string path) {
    const std::string key = program + ' ' + path;
    const auto [state, is_new] = states_.try_emplace(key, State{std::move(program), std::move(path)});
    if (!is_new) {
        state->second.again = state->second.running;
        return;
    }
    waiting_.push_back(key);
    wake(0);
}

void Redraws::wake(int seconds) {
    const timeval time = {seconds, 0};
    event_add(turn_, &time);
}

void Redraws::run_some() {
    while (running_ < at_once && !waiting_.empty()) {
        State &state = states_.at(waiting_.front());
        const auto done = [this, key = waiting_.front()](const ProgramOutcome &outcome) { ended(key, outcome); };
        if (programs_.run(state.program, Question(Action::redraw, state.path).text(), done) == Programs::none)
            return wake(1);
        waiting_.pop_front();
        state.running = true;
        running_++;
    }
}

void Redraws::ended(const std::string &key, const ProgramOutcome &outcome) {
    State &state = states_.at(key);
    if (!outcome.problem.empty())
        log_warning("%s, for %s: %s", state.program.c_str(), state.path.c_str(), outcome.problem.c_str());
    running_--;
    state.running = false;
    if (std::exchange(state.again, false)) {
        waiting_.push_back(key);
    } else {
        states_.erase(key);
    }
    run_some();
}

}  // namespace ravd
