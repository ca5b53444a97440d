// Types and limits of values.
#include "ravd/model/check.h"

#include <algorithm>
#include <string_view>

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

const char *integer_problem(int type, int64_t value) {
    for (const Range &range : integer_ranges)
        if (range.type == type && (value < range.min || value > range.max)) return "is outside of its type's range";
    return nullptr;
}

template <typename Number>
const char *bounds_problem(const Limits &limits, Number value) {
    const Number *min = std::get_if<Number>(&limits.min);
    const Number *max = std::get_if<Number>(&limits.max);
    if (min && value < *min) return "is below minInclusive";
    if (max && value > *max) return "is above maxInclusive";
    return nullptr;
}

int64_t character_count(std::string_view text) {
    return std::count_if(text.begin(), text.end(),
                         [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; });
}

const char *item_problem(const Limits &limits, std::string_view text) {
    const int64_t length = character_count(text);
    if (length < limits.min_length) return "is shorter than minLength";
    if (length > limits.max_length) return "is longer than maxLength";
    const auto &allowed = limits.enumeration;
    if (!allowed.empty() && std::find(allowed.begin(), allowed.end(), text) == allowed.end()) return "is not in enum";
    return nullptr;
}

std::string_view trimmed(std::string_view text) {
    while (text.starts_with(' ')) text.remove_prefix(1);
    while (text.ends_with(' ')) text.remove_suffix(1);
    return text;
}

const char *list_problem(const Limits &limits, std::string_view text) {
    int64_t count = 0;
    for (bool more = !trimmed(text).empty(); more; count++) {
        const size_t comma = text.find(',');
        if (const char *problem = item_problem(limits, trimmed(text.substr(0, comma)))) return problem;
        more = comma != text.npos;
        if (more) text.remove_prefix(comma + 1);
    }
    if (count < limits.min_count) return "has fewer items than minCount";
    if (count > limits.max_count) return "has more items than maxCount";
    return nullptr;
}

// Tab and line feed are text; the other C0 characters, DEL and C1 (two bytes in UTF-8, the first one 0xC2) are not.
bool has_control_characters(std::string_view text) {
    for (size_t i = 0; i < text.size(); i++) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte == 0x7f || (byte < 0x20 && byte != '\t' && byte != '\n')) return true;
        if (byte == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xa0) return true;
    }
    return false;
}

}  // namespace

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

const char *value_problem(const SchemaNode &parameter, const Value &value) {
    static const Limits no_limits;
    const Limits &limits = parameter.limits ? *parameter.limits : no_limits;
    if (const auto *integer = std::get_if<int64_t>(&value)) {
        const char *problem = integer_problem(parameter.type, *integer);
        return problem ? problem : bounds_problem(limits, *integer);
    }
    if (const auto *real = std::get_if<double>(&value)) return bounds_problem(limits, *real);
    if (const auto *text = std::get_if<std::string>(&value)) {
        if (has_control_characters(*text)) return "has control characters";
        return parameter.type == RV_TR_LIST ? list_problem(limits, *text) : item_problem(limits, *text);
    }
    return nullptr;
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
