// One change at a time through its handlers: asked, made, or undone.
#include "ravd/handlers/changes.h"

#include <utility>

#include "ravd/handlers/inside.h"
#include "ravd/handlers/questions.h"
#include "ravd/log.h"
#include "ravd/model/parts.h"
#include "ravd/model/reading.h"
#include "ravd/session.h"

namespace ravd {

namespace {

// Lets through what was agreed on, and notes anything else.
class Gate : public ChangeGate {
 public:
    explicit Gate(std::vector<HandledChange> agreed = {}) : agreed_(std::move(agreed)) {}

    bool admits(std::vector<HandledChange> changes) override {
        if (changes == agreed_) return true;
        asked = std::move(changes);
        return false;
    }

    std::vector<HandledChange> asked;

 private:
    const std::vector<HandledChange> agreed_;
};

constexpr char too_many[] = "too many handlers wait";

void append_values(Question &question, const HandledChange &change, const char *one, const char *all,
                   Value HandledValue::*which) {
    if (change.node->is_parameter()) {
        question.add(one, change.values.front().*which);
        return;
    }
    question.begin(all);
    for (const HandledValue &each : change.values) question.add(each.name, each.*which);
    question.end();
}

std::string question_about(const HandledChange &change, const Viewer &viewer) {
    Question question(change.action, change.path);
    question.by(viewer);
    if (change.action == Action::add) question.add("instance", int64_t{change.instance});
    if (change.action != Action::set) return question.text();
    append_values(question, change, "value", "values", &HandledValue::after);
    append_values(question, change, "old", "old", &HandledValue::before);
    return question.text();
}

// What takes a change back; no program when there is none for it.
struct Reversal {
    std::string program, question;
};

Reversal reversal_of(const HandledChange &change, const Viewer &viewer) {
    const auto program = [&](const SchemaNode &node, Action action) {
        return node.handlers ? node.handlers->of(action) : std::string();
    };
    switch (change.action) {
        case Action::set: {
            HandledChange back = change;
            for (HandledValue &each : back.values) std::swap(each.before, each.after);
            Question question(Action::set, back.path);
            question.by(viewer);
            append_values(question, back, "value", "values", &HandledValue::after);
            append_values(question, back, "old", "old", &HandledValue::before);
            return {back.program(), question.add("undo", true).text()};
        }
        case Action::add: {
            Question question(Action::remove, change.path + std::to_string(change.instance) + '.');
            question.by(viewer).add("undo", true);
            std::string remover = program(*change.node, Action::remove);
            return {remover.empty() ? program(change.node->instance(), Action::remove) : remover, question.text()};
        }
        default: {
            const SchemaNode &object = change.node->multi ? *change.node : *change.node->parent;
            const size_t dot = change.path.rfind('.', change.path.size() - 2);
            Question question(Action::add, change.path.substr(0, dot + 1));
            const int64_t number = std::stoll(change.path.substr(dot + 1));
            return {program(object, Action::add), question.by(viewer).add("instance", number).add("undo", true).text()};
        }
    }
}

Fault refusal_of(const HandledChange &change, const HandlerAnswer &answer) {
    Fault fault;
    if (change.action != Action::set) {
        fault = failure(change.path, answer.code);
        fault.detail = answer.message;
        return fault;
    }
    for (const HandledValue &each : change.values) {
        add_failure(fault, each.path, answer.code);
        if (!answer.message.empty()) fault.parameters.back().second += ": " + answer.message;
    }
    fault.code = 9003;
    return fault;
}

}  // namespace

Changes::Changes(Model &model, Programs &programs, Redraws &redraws, size_t waiting)
    : model_(model), programs_(programs), redraws_(redraws), limit_(waiting) {}

Fault Changes::run(const Make &make, ChangeGate &gate, std::string &result) {
    model_.parts().gate = &gate;
    Fault fault = make(result);
    model_.parts().gate = nullptr;
    return fault;
}

Fault Changes::make(const Member &caller, Make make, const Defer &defer, std::string &result) {
    const Schema &schema = *model_.parts().schema;
    if (!schema.has_changers && !schema.has_redrawn) return make(result);
    const bool inside = programs_.contains(caller.peer().pid);
    Gate gate;
    redraws_.mute(inside);
    Fault fault = run(make, gate, result);
    redraws_.mute(false);
    if (fault || gate.asked.empty()) return fault;
    if (inside) return inside_handler_fault();
    if (waiting_.size() >= limit_) return {9004, too_many, {}};
    waiting_.push_back({std::move(make), defer(), &caller, {}, {}, {}, 0, {}});
    next();
    return {};
}

void Changes::make_own(Make make, Done done) {
    waiting_.push_back({std::move(make), nullptr, nullptr, std::move(done), {}, {}, 0, {}});
    next();
}

void Changes::next() {
    while (!job_ && !waiting_.empty()) {
        job_ = std::move(waiting_.front());
        waiting_.pop_front();
        begin();
    }
}

// What others have changed meanwhile may have made it another change.
void Changes::begin() {
    if (!job_->is_wanted()) return finish({});
    job_->viewer = job_->caller ? job_->caller->session().viewer : Viewer{Role::admin, ""};
    Gate gate;
    std::string result;
    Fault fault = run(job_->make, gate, result);
    if (fault || gate.asked.empty()) return finish(std::move(fault), std::move(result));
    job_->changes = std::move(gate.asked);
    ask();
}

void Changes::ask() {
    if (job_->done == job_->changes.size()) return commit();
    const HandledChange &change = job_->changes[job_->done];
    const auto done = [this](const ProgramOutcome &outcome) {
        const HandledChange &asked = job_->changes[job_->done];
        take(read_answer(asked.program(), asked.path, outcome));
    };
    if (programs_.run(change.program(), question_about(change, job_->viewer), done) == Programs::none)
        undo({9004, too_many, {}});
}

void Changes::take(const HandlerAnswer &answer) {
    const HandledChange &asked = job_->changes[job_->done];
    if (answer.code == 0 || answer.failed) job_->done++;  // what has failed may have done a part of it
    if (answer.code != 0) return undo(refusal_of(asked, answer));
    if (!job_->is_wanted()) return undo({});
    ask();
}

void Changes::commit() {
    Gate gate(job_->changes);
    std::string result;
    Fault fault = run(job_->make, gate, result);
    if (!fault && result.empty()) fault = {9002, "something else has changed meanwhile", {}};
    if (fault) return undo(std::move(fault));
    finish({}, std::move(result));
}

void Changes::undo(Fault fault) {
    job_->fault = std::move(fault);
    undo_last();
}

void Changes::undo_last() {
    while (job_->done > 0) {
        const HandledChange &change = job_->changes[--job_->done];
        Reversal reversal = reversal_of(change, job_->viewer);
        if (reversal.program.empty()) continue;
        const auto done = [this, program = reversal.program](const ProgramOutcome &outcome) {
            const HandledChange &undone = job_->changes[job_->done];
            if (read_answer(program, undone.path, outcome).code != 0)
                log_error("%s, for %s: what it did was not undone", program.c_str(), undone.path.c_str());
            undo_last();
        };
        if (programs_.run(reversal.program, std::move(reversal.question), done) != Programs::none) return;
        log_error("%s, for %s: what it did was not undone: %s", reversal.program.c_str(), change.path.c_str(),
                  too_many);
    }
    finish(std::move(job_->fault));
}

// The reply may bring the client's next request along.
void Changes::finish(Fault fault, std::string result) {
    const std::shared_ptr<Deferred> reply = std::move(job_->reply);
    const Done own_done = std::move(job_->own_done);
    job_.reset();
    if (reply) {
        reply->answer(std::move(fault), std::move(result));
    } else {
        own_done(fault);
    }
    next();
}

}  // namespace ravd
