// From JSON and from text to values, by the JSON type of a parameter's type.
#include "ravd/model/convert.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string_view>

#include "ravd/json_text.h"
#include "ravd/model/check.h"

namespace ravd {

namespace {

constexpr size_t shown_bytes = 64;

Refusal wrong_type(const SchemaNode &parameter) {
    return {9006, std::string(rv_tr_type_name(parameter.type)) + " wanted"};
}

// shown: the number, or words for it.
Refusal too_large(std::string_view shown, bool negative) {
    return {9007, std::string(shown) + (negative ? " is below " : " is above ") +
                      std::to_string(negative ? INT64_MIN : INT64_MAX)};
}

Refusal boolean_from_text(const SchemaNode &parameter, std::string_view text, Value &value) {
    if (text == "true" || text == "1") {
        value = true;
    } else if (text == "false" || text == "0") {
        value = false;
    } else {
        return wrong_type(parameter);
    }
    return {};
}

// The prefix that clients print integers of a base with.
std::string_view prefix_of(int base) {
    return base == 16 ? "0x" : base == 8 ? "0" : base == 2 ? "0b" : "";
}

Refusal integer_from_text(const SchemaNode &parameter, std::string_view text, Value &value) {
    const std::string_view prefix = prefix_of(parameter.base);
    const bool prefixed = text.size() > prefix.size() && text.starts_with(prefix);
    const std::string_view digits = prefixed ? text.substr(prefix.size()) : text;
    if (prefixed && !prefix.empty() && digits.starts_with('-')) return wrong_type(parameter);
    int64_t number = 0;
    const auto [end, error] = std::from_chars(digits.begin(), digits.end(), number, prefixed ? parameter.base : 10);
    if (end != digits.end() || error == std::errc::invalid_argument) return wrong_type(parameter);
    if (error == std::errc::result_out_of_range) return too_large(text.substr(0, shown_bytes), text.front() == '-');
    value = number;
    return {};
}

Refusal real_from_text(const SchemaNode &parameter, std::string_view text, Value &value) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.begin(), text.end(), number);
    if (end != text.end() || error == std::errc::invalid_argument || !std::isfinite(number))
        return wrong_type(parameter);
    if (error == std::errc::result_out_of_range) return {9007, "a number that is too large or too small"};
    value = number;
    return {};
}

Refusal json_from_text(const SchemaNode &parameter, std::string_view text, Value &value) {
    const Json json(json_loadb(text.data(), text.size(), JSON_DECODE_ANY | JSON_REJECT_DUPLICATES, nullptr));
    if (!json) return wrong_type(parameter);
    value = SharedJson(json.get());
    return {};
}

Refusal from_text(const SchemaNode &parameter, std::string_view text, Value &value) {
    switch (rv_tr_type_json(parameter.type)) {
        case JSON_TRUE:
            return boolean_from_text(parameter, text, value);
        case JSON_INTEGER:
            return integer_from_text(parameter, text, value);
        case JSON_REAL:
            return real_from_text(parameter, text, value);
        case JSON_STRING:
            value = std::string(text);
            return {};
        default:
            return json_from_text(parameter, text, value);
    }
}

bool is_beyond_integers(const json_t *json) {
    return json_is_real(json) && std::abs(json_real_value(json)) >= 0x1p63;
}

// text cut to what a message shows, not inside of a character.
std::string shortened(std::string_view text) {
    if (text.size() <= shown_bytes) return std::string(text);
    size_t end = shown_bytes;
    while ((static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) end--;
    return std::string(text.substr(0, end)) + "...";
}

}  // namespace

Refusal convert(const SchemaNode &parameter, json_t *json, bool raw, Value &value) {
    if (raw && json_is_string(json))
        return from_text(parameter, {json_string_value(json), json_string_length(json)}, value);
    if (rv_tr_type_json(parameter.type) == JSON_INTEGER && is_beyond_integers(json))
        return too_large("the number", json_real_value(json) < 0);
    auto converted = value_from_json(parameter.type, json);
    if (!converted) return wrong_type(parameter);
    value = std::move(*converted);
    return {};
}

std::string complaint(const SchemaNode &parameter, const Value &value, const std::string &problem) {
    if (parameter.type == RV_TR_SECRET) return "it " + problem;
    std::string text;
    if (const auto *string = std::get_if<std::string>(&value)) {
        append_json_string(text, clean_utf8(shortened(*string)));
    } else {
        append_value(text, value);
        text = clean_utf8(shortened(text));
    }
    return text + " " + problem;
}

}  // namespace ravd
