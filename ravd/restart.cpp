// A short timer that looks whether the output buffers are empty: the loop has no other word for "all is written".
#include "ravd/restart.h"

#include <utility>

#include "ravd/handlers/programs.h"
#include "ravd/log.h"

namespace ravd {

namespace {

constexpr timeval round_time = {0, 10000};
constexpr int most_rounds = 100;
constexpr char program_name[] = "reboot";

}  // namespace

Restart::Restart(event_base *base, Programs &programs, std::function<bool()> all_sent)
    : base_(base), programs_(programs), all_sent_(std::move(all_sent)) {
    timer_ = event_new(
        base_, -1, EV_PERSIST, [](evutil_socket_t, short, void *self) { static_cast<Restart *>(self)->look(); }, this);
}

Restart::~Restart() {
    event_free(timer_);
}

void Restart::request() {
    if (rounds_ > 0) return;
    log_info("restarting");
    rounds_ = 1;
    event_add(timer_, &round_time);
}

void Restart::look() {
    if (!all_sent_() && rounds_++ < most_rounds) return;
    event_del(timer_);
    const std::string problem = programs_.problem_of(program_name);
    if (problem.empty()) return run_program();
    if (programs_.is_open()) log_info("only the daemon is started anew: %s", problem.c_str());
    due_ = true;
    event_base_loopbreak(base_);
}

// It takes down the daemon with the device, or it has failed.
void Restart::run_program() {
    const auto done = [this](const ProgramOutcome &outcome) {
        if (!outcome.problem.empty()) log_error("the device was not restarted: %s", outcome.problem.c_str());
        rounds_ = 0;
    };
    if (programs_.run(program_name, "{\"action\":\"reboot\"}\n", done) == Programs::none) {
        log_error("the device was not restarted: too many programs run");
        rounds_ = 0;
    }
}

}  // namespace ravd
