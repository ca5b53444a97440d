// A reading call that waits for handlers: rounds of asking and reading, since the values of one round decide, in the
// conditions of a selector, whom the next one needs.
#include "ravd/handlers/telling.h"

#include <chrono>
#include <deque>
#include <set>

#include "ravd/handlers/inside.h"
#include "ravd/handlers/programs.h"
#include "ravd/handlers/questions.h"
#include "ravd/log.h"
#include "ravd/model/parts.h"
#include "ravd/model/told_values.h"

namespace ravd {

namespace {

using Clock = std::chrono::steady_clock;
using Teller = ToldValues::Teller;

constexpr size_t asked_at_once = 4;  // by one call: others have handlers to ask, too
constexpr int most_rounds = 4;
constexpr int internal_error = 9002;

Fault read_with(const Call &call, ReadMethod read, ToldValues &told, std::string &result) {
    const ToldValues::Use use(call.services.model, told);
    return read(call, result);
}

class Telling : public std::enable_shared_from_this<Telling> {
 public:
    Telling(const Call &call, ReadMethod read, ToldValues told)
        : call_(call),
          read_(read),
          told_(std::move(told)),
          reply_(call.defer()),
          end_(Clock::now() + std::chrono::milliseconds(call.services.limits.program_ms)) {}

    void begin() {
        reply_->on_abandoned([self = weak_from_this()] {
            if (const auto telling = self.lock()) telling->cancel();
        });
        next_round();
    }

 private:
    void next_round();
    void ask_some();
    bool ask(const Teller &teller);
    void take(const Teller &teller, const ProgramOutcome &outcome);
    void fail(const Teller &teller, const char *reason);
    void answer();
    void cancel();

    const Call call_;  // to be used while the reply is wanted
    const ReadMethod read_;
    ToldValues told_;
    const std::shared_ptr<Deferred> reply_;
    const Clock::time_point end_;  // nobody is asked any more
    std::deque<Teller> waiting_;
    std::set<Programs::Id> asked_;
    int rounds_ = 0;
};

void Telling::next_round() {
    rounds_++;
    for (Teller &teller : told_.take_wanted()) waiting_.push_back(std::move(teller));
    ask_some();
}

void Telling::ask_some() {
    while (asked_.size() < asked_at_once && !waiting_.empty()) {
        const Teller teller = std::move(waiting_.front());
        waiting_.pop_front();
        if (rounds_ > most_rounds || Clock::now() >= end_) {
            fail(teller, "not asked any more: the request takes too long");
        } else if (!ask(teller)) {
            cancel();
            return reply_->answer({9004, "too many handlers wait", {}});
        }
    }
    if (asked_.empty()) answer();
}

bool Telling::ask(const Teller &teller) {
    std::string question = Question(Action::get, teller.path).by(call_.viewer()).text();
    const auto id = std::make_shared<Programs::Id>();
    const auto done = [self = shared_from_this(), teller, id](const ProgramOutcome &outcome) {
        self->asked_.erase(*id);
        self->take(teller, outcome);
        self->ask_some();
    };
    *id = call_.services.programs.run(teller.node->handlers->of(Action::get), std::move(question), done);
    if (*id == Programs::none) return false;
    asked_.insert(*id);
    return true;
}

void Telling::take(const Teller &teller, const ProgramOutcome &outcome) {
    const HandlerAnswer answer = read_answer(teller.node->handlers->of(Action::get), teller.path, outcome);
    if (answer.code != 0) return told_.fail(teller, answer.code);
    const std::string problem = told_.answer(teller, answer.json.get());
    if (problem.empty()) return;
    log_warning("%s, for %s: %s", teller.node->handlers->of(Action::get).c_str(), teller.path.c_str(), problem.c_str());
}

void Telling::fail(const Teller &teller, const char *reason) {
    log_warning("%s, for %s: %s", teller.node->handlers->of(Action::get).c_str(), teller.path.c_str(), reason);
    told_.fail(teller, internal_error);
}

void Telling::answer() {
    if (!reply_->is_wanted()) return;
    std::string result;
    Fault fault = read_with(call_, read_, told_, result);
    if (!fault && told_.wants_some()) return next_round();
    reply_->answer(std::move(fault), std::move(result));
}

void Telling::cancel() {
    waiting_.clear();
    for (const Programs::Id id : std::exchange(asked_, {})) call_.services.programs.cancel(id);
}

}  // namespace

Fault read_told(const Call &call, ReadMethod read, std::string &result) {
    Services &services = call.services;
    if (!services.model.parts().schema->has_tellers) return read(call, result);
    ToldValues told;
    const size_t before = result.size();
    Fault fault = read_with(call, read, told, result);
    if (fault || !told.wants_some()) return fault;
    result.resize(before);
    if (is_inside_handler(services, call.caller)) return inside_handler_fault();
    std::make_shared<Telling>(call, read, std::move(told))->begin();
    return {};
}

}  // namespace ravd
