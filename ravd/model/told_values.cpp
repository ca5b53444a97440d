// Who tells what.
#include "ravd/model/told_values.h"

#include "ravd/json_text.h"
#include "ravd/model/check.h"
#include "ravd/model/parts.h"
#include "ravd/model/resolve.h"

namespace ravd {

namespace {

constexpr int internal_error = 9002;

}  // namespace

ToldValues::Use::Use(Model &model, ToldValues &told) : model_(model) {
    model.parts().told = &told;
}

ToldValues::Use::~Use() {
    model_.parts().told = nullptr;
}

ToldValues::Finding ToldValues::find(const SchemaNode &parameter, const Record &record) {
    auto [path, name] = cut_name(parameter, record, *parameter.teller);
    const auto [answer, is_new] = answers_.try_emplace(path);
    if (is_new) wanted_.push_back({std::move(path), parameter.teller});
    if (answer->second.code != 0) return {answer->second.code, nullptr};
    const auto told = answer->second.told.find(name);
    if (told == answer->second.told.end()) return {};
    return {told->second.code, &told->second.value};
}

std::string ToldValues::answer(const Teller &teller, const json_t *json) {
    Answer &answer = answers_[teller.path];
    if (teller.node->is_parameter()) {
        json_t *value = json_object_get(json, "value");
        if (value != nullptr) return take(teller, answer, "", value);
        answer.code = internal_error;
        return "no \"value\"";
    }
    json_t *values = json_object_get(json, "values");
    if (!json_is_object(values)) {
        answer.code = internal_error;
        return "no \"values\"";
    }
    std::string problems;
    const char *name = nullptr;
    json_t *value = nullptr;
    json_object_foreach(values, name, value) {
        const std::string problem = take(teller, answer, name, value);
        if (!problem.empty()) problems += (problems.empty() ? "" : "; ") + problem;
    }
    return problems;
}

std::string ToldValues::take(const Teller &teller, Answer &answer, std::string_view name, json_t *json) {
    const SchemaNode *node = teller.node;
    if (!name.empty()) {
        Path path;
        const bool known = parse_path_below(*teller.node, name, path) && path.node->teller == teller.node;
        if (!known || path.closed || path.every_instance) return "'" + std::string(name) + "' is not its to tell";
        node = path.node;
    }
    Told told;
    const std::string problem = told_value(*node, json, told.value);
    if (!problem.empty()) told.code = internal_error;
    if (told.code != 0 || !std::holds_alternative<std::monostate>(told.value))
        answer.told[std::string(name)] = std::move(told);
    return problem.empty() ? "" : "'" + node->name + "': the value " + problem;
}

void ToldValues::fail(const Teller &teller, int code) {
    answers_[teller.path].code = code;
}

std::string told_value(const SchemaNode &parameter, json_t *json, Value &value) {
    value = {};
    if (json_is_null(json)) return "";
    auto taken = value_from_json(parameter.type, json);
    if (!taken) return std::string("is no ") + rv_tr_type_name(parameter.type);
    if (auto *text = std::get_if<std::string>(&*taken)) *text = clean_utf8(*text);
    std::string problem = value_problem(parameter, *taken);
    if (problem.empty()) value = std::move(*taken);
    return problem;
}

}  // namespace ravd
