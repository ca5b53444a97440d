// Redrawing, as rarely as possible.
#include "ravd/handlers/redraws.h"

#include "ravd/handlers/questions.h"
#include "ravd/log.h"
#include "ravd/model/resolve.h"

namespace ravd {

Redraws::Redraws(event_base *base, Model &model, Programs &programs)
    : model_(model),
      programs_(programs),
      turn_(event_new(
          base, -1, 0, [](evutil_socket_t, short, void *self) { static_cast<Redraws *>(self)->run_wanted(); }, this)) {
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
    State &state = states_.try_emplace(key, State{std::move(program), std::move(path)}).first->second;
    state.wanted = true;
    constexpr timeval now = {0, 0};
    event_add(turn_, &now);
}

void Redraws::run_wanted() {
    for (auto each = states_.begin(); each != states_.end();) {
        State &state = each->second;
        if (state.running || !state.wanted) {
            ++each;
            continue;
        }
        state.wanted = false;
        const auto done = [this, key = each->first](const ProgramOutcome &outcome) {
            const State &run = states_.at(key);
            if (!outcome.problem.empty())
                log_warning("%s, for %s: %s", run.program.c_str(), run.path.c_str(), outcome.problem.c_str());
            ended(key);
        };
        state.running =
            programs_.run(state.program, Question(Action::redraw, state.path).text(), done) != Programs::none;
        if (!state.running)
            log_warning("%s, for %s: too many handlers wait", state.program.c_str(), state.path.c_str());
        each = state.running ? std::next(each) : states_.erase(each);
    }
}

void Redraws::ended(const std::string &key) {
    const auto state = states_.find(key);
    state->second.running = false;
    if (!state->second.wanted) {
        states_.erase(state);
        return;
    }
    run_wanted();
}

}  // namespace ravd
