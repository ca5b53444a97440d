// A method's handler, from its arguments to its outputs.
#include "ravd/handlers/executing.h"

#include <memory>

#include "ravd/audit.h"
#include "ravd/handlers/inside.h"
#include "ravd/handlers/programs.h"
#include "ravd/handlers/questions.h"
#include "ravd/log.h"
#include "ravd/model/resolve.h"
#include "ravd/model/told_values.h"

namespace ravd {

namespace {

const std::string &program_of(const Operation &operation) {
    return operation.method->handlers->of(Action::execute);
}

std::string question(const Call &call, const Operation &operation) {
    Question question(Action::execute, operation.name);
    question.by(call.viewer()).begin("inputs");
    for (const auto &[name, value] : operation.arguments) question.add(name, value);
    return question.end().text();
}

// Fills outputs. Returns an empty text, or what is wrong with one.
std::string take_outputs(const Operation &operation, const json_t *answer, NamedValues &outputs) {
    json_t *given = json_object_get(answer, "outputs");
    if (given != nullptr && !json_is_object(given)) return "\"outputs\" is no object";
    const char *name = nullptr;
    json_t *json = nullptr;
    json_object_foreach(given, name, json) {
        Path path;
        const bool known = parse_path_below(*operation.method->find("#output"), name, path);
        if (!known || !path.node->is_parameter() || path.closed || path.every_instance)
            return "'" + std::string(name) + "' is no output of the method";
        Value value;
        const std::string problem = told_value(*path.node, json, value);
        if (!problem.empty()) return "'" + std::string(name) + "': the value " + problem;
        if (!std::holds_alternative<std::monostate>(value)) outputs.emplace_back(name, std::move(value));
    }
    return "";
}

// The reply to an ended program.
void answer(const Call &call, const Operation &operation, Deferred &reply, const ProgramOutcome &outcome) {
    HandlerAnswer answer = read_answer(program_of(operation), operation.name, outcome);
    NamedValues outputs;
    if (answer.code == 0) {
        const std::string problem = take_outputs(operation, answer.json.get(), outputs);
        if (!problem.empty()) {
            log_warning("%s, for %s: %s", program_of(operation).c_str(), operation.name.c_str(), problem.c_str());
            answer = {9002, true, "the handler has failed", nullptr};
        }
    }
    if (answer.code != 0) return reply.answer({answer.code, answer.message, {}});
    {
        const Audit::Acting acting(call.services.audit, call.caller, "Execute");
        call.services.audit.executed(operation);
    }
    reply.answer({}, operation_result(*operation.method, outputs));
}

}  // namespace

bool has_handler(const Operation &operation) {
    return operation.method->handlers && !program_of(operation).empty();
}

Fault execute_handler(const Call &call, Operation operation) {
    Programs &programs = call.services.programs;
    if (is_inside_handler(call.services, call.caller)) return inside_handler_fault();
    const std::string program = program_of(operation);
    std::string text = question(call, operation);
    const std::shared_ptr<Deferred> reply = call.defer();
    const auto done = [call, operation = std::move(operation), reply](const ProgramOutcome &outcome) {
        if (reply->is_wanted()) answer(call, operation, *reply, outcome);
    };
    const Programs::Id id = programs.run(program, std::move(text), done);
    if (id == Programs::none) {
        reply->answer({9004, "too many handlers wait", {}});
    } else {
        reply->on_abandoned([&programs, id] { programs.cancel(id); });
    }
    return {};
}

}  // namespace ravd
