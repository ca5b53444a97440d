// Methods of the model by their paths, and what goes into and comes out of them.
#include "ravd/model/operation.h"

#include <algorithm>

#include "ravd/json_text.h"
#include "ravd/model/check.h"
#include "ravd/model/convert.h"
#include "ravd/model/reading.h"
#include "ravd/model/references.h"

namespace ravd {

namespace {

// The full name with "{i}" for the instances.
std::string pattern_of(const SchemaNode &node) {
    if (!node.parent) return "";
    std::string text = pattern_of(*node.parent);
    if (!text.empty()) text += '.';
    return text += node.is_instance() ? "{i}" : node.name;
}

// Calls visit(name, parameter) for the parameters below an "#input" or "#output", in the schema's order.
template <typename Visit>
void each_member(const SchemaNode &node, const std::string &prefix, Visit visit) {
    for (const auto &child : node.children) {
        if (child->is_parameter()) {
            visit(prefix + child->name, *child);
        } else {
            each_member(*child, prefix + child->name + '.', visit);
        }
    }
}

class ArgumentReading {
 public:
    ArgumentReading(Model &model, const Viewer &viewer, Operation &operation)
        : reading_(model, viewer), operation_(operation), input_(*operation.method->find("#input")) {}

    void take(std::string_view name, json_t *json);
    // Fills in what was not given, and returns the refusals or none.
    Fault finish();

 private:
    void refuse(std::string_view name, const Refusal &refusal);
    const SchemaNode *find(std::string_view name) const;
    Refusal check(const SchemaNode &parameter, json_t *json, Value &value);

    Reading reading_;
    Operation &operation_;
    const SchemaNode &input_;
    NamedValues given_;
    Fault fault_;
};

void ArgumentReading::refuse(std::string_view name, const Refusal &refusal) {
    add_failure(fault_, name, refusal.code);
    if (!refusal.reason.empty()) fault_.parameters.back().second += ": " + refusal.reason;
}

const SchemaNode *ArgumentReading::find(std::string_view name) const {
    Path path;
    if (!parse_path_below(input_, name, path) || !path.node->is_parameter() || path.closed) return nullptr;
    const bool in_instance =
        std::ranges::any_of(path.elements, [](const auto &each) { return each.node->is_instance(); });
    return in_instance || !reading_.can_see(*path.node) ? nullptr : path.node;
}

Refusal ArgumentReading::check(const SchemaNode &parameter, json_t *json, Value &value) {
    if (Refusal refusal = convert(parameter, json, false, value)) return refusal;
    std::string problem = value_problem(parameter, value);
    if (const auto *text = std::get_if<std::string>(&value); text && problem.empty())
        problem = reference_problem(reading_, parameter, *text);
    return problem.empty() ? Refusal() : Refusal{9007, complaint(parameter, value, problem)};
}

void ArgumentReading::take(std::string_view name, json_t *json) {
    const SchemaNode *parameter = find(name);
    if (!parameter) return refuse(name, {9005, ""});
    if (std::ranges::find(given_, name, &NamedValues::value_type::first) != given_.end())
        return refuse(name, {9003, "named twice"});
    if (json_is_null(json)) return;
    Value &value = given_.emplace_back(name, Value()).second;
    if (const Refusal refusal = check(*parameter, json, value)) refuse(name, refusal);
}

Fault ArgumentReading::finish() {
    each_member(input_, "", [this](const std::string &name, const SchemaNode &parameter) {
        const auto found = std::ranges::find(given_, name, &NamedValues::value_type::first);
        if (found == given_.end() && parameter.mandatory) refuse(name, {9003, "missing"});
        operation_.arguments.emplace_back(name, found != given_.end() ? found->second : parameter.default_value);
    });
    if (fault_) fault_.code = 9003;
    return std::move(fault_);
}

void append_output(std::string &result, const NamedValues::value_type &output) {
    append_comma(result);
    result += "{\"Name\":";
    append_json_string(result, output.first);
    result += ",\"Value\":";
    append_value(result, output.second);
    result += '}';
}

// Those of a table: as they come.
void append_rows(std::string &result, const SchemaNode &table, const std::string &prefix, const NamedValues &outputs) {
    for (const auto &output : outputs) {
        Path path;
        if (!output.first.starts_with(prefix)) continue;
        const std::string_view name = std::string_view(output.first).substr(prefix.size());
        if (parse_path_below(table, name, path) && path.node->is_parameter() && !path.every_instance)
            append_output(result, output);
    }
}

void append_outputs(std::string &result, const SchemaNode &node, const std::string &prefix,
                    const NamedValues &outputs) {
    for (const auto &child : node.children) {
        const std::string name = prefix + child->name;
        if (child->multi && !child->is_parameter()) {
            append_rows(result, *child, name + '.', outputs);
        } else if (!child->is_parameter()) {
            append_outputs(result, *child, name + '.', outputs);
        } else if (const auto found = std::ranges::find(outputs, name, &NamedValues::value_type::first);
                   found != outputs.end()) {
            append_output(result, *found);
        }
    }
}

void collect(const SchemaNode &node, std::vector<std::string> &patterns) {
    if (node.is_method()) patterns.push_back(pattern_of(node));
    for (const auto &child : node.children) collect(*child, patterns);
}

}  // namespace

Fault find_operation(Model &model, const Viewer &viewer, std::string_view path, Operation &operation) {
    Reading reading(model, viewer);
    Path parsed;
    if (const int code = reading.parse(path, parsed)) return failure(path, code);
    if (!parsed.node->is_method() || parsed.every_instance) return failure(path, 9005);
    std::vector<Place> places = present_places(parsed, reading.parts, reading.sync);
    if (places.empty()) return failure(path, 9005);
    if (!parsed.node->can_execute(viewer.role)) return failure(path, 9001);
    operation.method = parsed.node;
    operation.name = std::move(places.front().name);
    operation.pattern = pattern_of(*parsed.node);
    operation.instance = places.front().record->number();
    return {};
}

Fault read_arguments(Model &model, const Viewer &viewer, const json_t *list, Operation &operation) {
    ArgumentReading arguments(model, viewer, operation);
    for (size_t i = 0; i < json_array_size(list); i++) {
        const json_t *pair = json_array_get(list, i);
        arguments.take(json_string_value(json_object_get(pair, "Name")), json_object_get(pair, "Value"));
    }
    return arguments.finish();
}

std::string operation_result(const SchemaNode &method, const NamedValues &outputs) {
    std::string result = "{\"ParameterList\":[";
    append_outputs(result, *method.find("#output"), "", outputs);
    return result += "]}";
}

std::string arguments_for_log(const Operation &operation) {
    std::string text = "{";
    each_member(*operation.method->find("#input"), "", [&](const std::string &name, const SchemaNode &parameter) {
        const auto found = std::ranges::find(operation.arguments, name, &NamedValues::value_type::first);
        append_comma(text);
        append_json_string(text, name);
        text += ':';
        append_value(text, parameter.type == RV_TR_SECRET ? Value(std::string("***")) : found->second);
    });
    return text += '}';
}

std::vector<std::string> all_operations(Model &model) {
    std::vector<std::string> patterns;
    collect(model.parts().schema->root, patterns);
    return patterns;
}

}  // namespace ravd
