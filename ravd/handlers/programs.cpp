// The queue in front of the programs that run.
#include "ravd/handlers/programs.h"

#include <algorithm>

#include <unistd.h>

namespace ravd {

Programs::Programs(event_base *base, const ProgramLimits &limits)
    : base_(base),
      limits_(limits),
      turn_(event_new(
          base, -1, 0, [](evutil_socket_t, short, void *self) { static_cast<Programs *>(self)->start_some(); }, this)) {
}

Programs::~Programs() {
    running_.clear();
    event_free(turn_);
}

bool Programs::open(const std::string &folder, const std::string &user, std::string &error) {
    error = folder_.open(folder);
    if (error.empty() && !user.empty()) error = find_program_user(user, user_);
    return error.empty();
}

std::string Programs::problem_of(std::string_view name) const {
    std::string problem;
    folder_.find(name, problem);
    return problem;
}

Programs::Id Programs::run(std::string name, std::string input, Done done, uint64_t time_ms) {
    if (waiting_.size() >= limits_.waiting) return none;
    if (time_ms == 0) time_ms = limits_.time_ms;
    waiting_.push_back({++last_id_, std::move(name), std::move(input), std::move(done), time_ms});
    wake();
    return last_id_;
}

void Programs::cancel(Id id) {
    std::erase_if(waiting_, [id](const Waiting &each) { return each.id == id; });
    const auto running = running_.find(id);
    if (running != running_.end()) running->second->kill();
}

bool Programs::contains(pid_t pid) const {
    const pid_t group = pid > 0 ? getpgid(pid) : -1;
    return group > 0 && std::ranges::any_of(running_, [&](const auto &each) { return each.second->group() == group; });
}

void Programs::wake() {
    constexpr timeval now = {0, 0};
    event_add(turn_, &now);
}

void Programs::start_some() {
    while (running_.size() < limits_.at_once && !waiting_.empty()) {
        Waiting next = std::move(waiting_.front());
        waiting_.pop_front();
        start(std::move(next));
    }
}

void Programs::start(Waiting waiting) {
    ProgramOutcome failed;
    ProgramProcess process;
    const std::string path = folder_.find(waiting.name, failed.problem);
    if (!path.empty()) failed.problem = start_process(path, waiting.name, user_, limits_, waiting.time_ms, process);
    if (!failed.problem.empty()) return waiting.done(failed);
    const Id id = waiting.id;
    const auto gone = [this, id] {
        running_.erase(id);
        if (!waiting_.empty()) wake();
    };
    running_[id] = std::make_unique<ProgramRun>(base_, std::move(waiting.name), process, std::move(waiting.input),
                                                limits_, waiting.time_ms, std::move(waiting.done), gone);
}

}  // namespace ravd
