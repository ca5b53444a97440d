// Types and limits of values.
#include "ravd/model/check.h"

#include <algorithm>

#include "ravd/json_text.h"
#include "ravd/model/forms.h"

namespace ravd {

namespace {

struct Range {
    int type;
    int64_t min, max;
};

constexpr Range integer_ranges[] = {
    {RV_TR_INT, INT32_MIN, INT32_MAX},
    {RV_TR_UNSIGNED_INT, 0, UINT32_MAX},
    {RV_TR_LONG, INT64_MIN, INT64_MAX},
    {RV_TR_UNSIGNED_LONG, 0, INT64_MAX},
};

std::string with(const char *words, const Value &limit) {
    std::string text = words;
    append_value(text, limit);
    return text;
}

template <typename Number>
std::string bounds_problem(Number value, Number min, Number max) {
    if (value < min) return with("is below ", min);
    if (value > max) return with("is above ", max);
    return "";
}

std::string integer_problem(const SchemaNode &parameter, const Limits &limits, int64_t value) {
    int64_t least = INT64_MIN, most = INT64_MAX;
    for (const Range &range : integer_ranges)
        if (range.type == parameter.type) least = range.min, most = range.max;
    if (const auto *min = std::get_if<int64_t>(&limits.min)) least = std::max(least, *min);
    if (const auto *max = std::get_if<int64_t>(&limits.max)) most = std::min(most, *max);
    return bounds_problem(value, least, most);
}

std::string real_problem(const Limits &limits, double value) {
    const double *min = std::get_if<double>(&limits.min);
    const double *max = std::get_if<double>(&limits.max);
    return bounds_problem(value, min ? *min : value, max ? *max : value);
}

std::string length_problem(int type, const Limits &limits, std::string_view text) {
    const int64_t length = text_length(type, text);
    if (length < limits.min_length)
        return "is shorter than " + std::to_string(limits.min_length) + " " + length_unit(type);
    if (length > limits.max_length)
        return "is longer than " + std::to_string(limits.max_length) + " " + length_unit(type);
    return "";
}

std::string enumeration_problem(const Limits &limits, std::string_view text) {
    const auto &allowed = limits.enumeration;
    if (allowed.empty() || std::ranges::find(allowed, text) != allowed.end()) return "";
    std::string problem = "is not one of ";
    for (const std::string &each : allowed) problem += (&each == &allowed.front() ? "" : ", ") + each;
    return problem;
}

std::string pattern_problem(const Limits &limits, std::string_view text) {
    if (!limits.pattern) return "";
    switch (limits.pattern->match(text)) {
        case Pattern::Outcome::match:
            return "";
        case Pattern::Outcome::no_match:
            return "does not match " + limits.pattern->text();
        default:
            return "takes too much work to match with " + limits.pattern->text();
    }
}

// Limits of a text as a whole, or of one item of a list.
std::string item_problem(int type, const Limits &limits, std::string_view text) {
    std::string problem = length_problem(type, limits, text);
    return problem.empty() ? enumeration_problem(limits, text) : problem;
}

// problem(item) for the items one after another, the first one's told.
template <typename Problem>
std::string first_item_problem(std::string_view text, Problem problem) {
    std::string found;
    each_item(text, [&](std::string_view item) {
        found = problem(item);
        if (found.empty()) return true;
        std::string shown = "has the item ";
        append_json_string(shown, item);
        found = shown + ", which " + found;
        return false;
    });
    return found;
}

std::string list_problem(const Limits &limits, std::string_view text) {
    int64_t count = 0;
    each_item(text, [&](std::string_view) { return ++count > 0; });
    if (count < limits.min_count) return "has fewer items than " + std::to_string(limits.min_count);
    if (count > limits.max_count) return "has more items than " + std::to_string(limits.max_count);
    return first_item_problem(text, [&](std::string_view item) { return item_problem(RV_TR_LIST, limits, item); });
}

constexpr char control_problem[] = "has control characters";

// C0 but tab and line feed, DEL, C1 (two bytes in UTF-8, the first one 0xC2).
bool has_control_characters(std::string_view text) {
    for (size_t i = 0; i < text.size(); i++) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte == 0x7f || (byte < 0x20 && byte != '\t' && byte != '\n')) return true;
        if (byte == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xa0) return true;
    }
    return false;
}

const Limits &limits_of(const SchemaNode &parameter) {
    static const Limits no_limits;
    return parameter.limits ? *parameter.limits : no_limits;
}

constexpr int json_levels = 100;  // so that replies stay within the levels that a message may have

// Texts of a JSON value, names of members included, and its depth.
const char *json_problem(json_t *json, int levels = json_levels) {
    if (levels < 0) return "is nested too deep";
    if (json_is_string(json))
        return has_control_characters({json_string_value(json), json_string_length(json)}) ? control_problem : "";
    for (size_t i = 0; i < json_array_size(json); i++)
        if (const char *problem = json_problem(json_array_get(json, i), levels - 1); *problem) return problem;
    const char *name = nullptr;
    json_t *member = nullptr;
    json_object_foreach(json, name, member) {
        if (has_control_characters(name)) return control_problem;
        if (const char *problem = json_problem(member, levels - 1); *problem) return problem;
    }
    return "";
}

}  // namespace

std::string_view trimmed(std::string_view text) {
    while (text.starts_with(' ')) text.remove_prefix(1);
    while (text.ends_with(' ')) text.remove_suffix(1);
    return text;
}

std::optional<Value> value_from_json(int type, json_t *json) {
    switch (rv_tr_type_json(type)) {
        case JSON_TRUE:
            if (json_is_boolean(json)) return Value(json_is_true(json));
            return std::nullopt;
        case JSON_INTEGER:
            if (json_is_integer(json)) return Value(static_cast<int64_t>(json_integer_value(json)));
            return std::nullopt;
        case JSON_REAL:
            if (json_is_number(json)) return Value(json_number_value(json));
            return std::nullopt;
        case JSON_STRING:
            if (!json_is_string(json)) return std::nullopt;
            return Value(std::string(json_string_value(json), json_string_length(json)));
        default:
            break;
    }
    if (type != RV_TR_ANY || !json) return std::nullopt;
    return Value(SharedJson(json));
}

std::string limit_problem(const SchemaNode &parameter, const Value &value) {
    const Limits &limits = limits_of(parameter);
    if (const auto *integer = std::get_if<int64_t>(&value)) return integer_problem(parameter, limits, *integer);
    if (const auto *real = std::get_if<double>(&value)) return real_problem(limits, *real);
    if (const auto *text = std::get_if<std::string>(&value)) {
        if (has_control_characters(*text)) return control_problem;
        return parameter.type == RV_TR_LIST ? list_problem(limits, *text) : item_problem(parameter.type, limits, *text);
    }
    const auto *json = std::get_if<SharedJson>(&value);
    return json ? json_problem(json->get()) : "";
}

std::string value_problem(const SchemaNode &parameter, const Value &value) {
    std::string problem = limit_problem(parameter, value);
    const auto *text = std::get_if<std::string>(&value);
    if (!problem.empty() || !text) return problem;
    if (const char *form = form_problem(parameter.type, *text)) return form;
    const Limits &limits = limits_of(parameter);
    if (parameter.type != RV_TR_LIST) return pattern_problem(limits, *text);
    return first_item_problem(*text, [&](std::string_view item) { return pattern_problem(limits, item); });
}

Value empty_value(const SchemaNode &parameter) {
    switch (rv_tr_type_json(parameter.type)) {
        case JSON_TRUE:
            return Value(false);
        case JSON_INTEGER:
            return Value(int64_t{0});
        case JSON_REAL:
            return Value(0.0);
        default:
            break;
    }
    const bool choice = parameter.limits && !parameter.limits->enumeration.empty() && parameter.type != RV_TR_LIST;
    return Value(choice ? parameter.limits->enumeration.front() : std::string());
}

}  // namespace ravd
