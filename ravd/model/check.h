// What values a parameter takes: from JSON or text into the daemon's own form, and within its limits.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <jansson.h>

#include "ravd/model/schema.h"
#include "ravd/model/value.h"

namespace ravd {

// json as a value of a parameter of that type code, sharing json where the type is "any"; nullopt when it has another
// JSON type than the parameter. An integer is taken for a decimal, a real is not taken for an integer.
std::optional<Value> value_from_json(int type, json_t *json);

// Why the parameter does not take value, a predicate as in "is above 65535"; empty when it does. value has the
// parameter's own form. limit_problem() knows the type's range, the limits of the schema and control characters;
// value_problem() also the type's form (forms.h) and the pattern. References and uniqueness are not looked at.
std::string limit_problem(const SchemaNode &parameter, const Value &value);
std::string value_problem(const SchemaNode &parameter, const Value &value);

// text without blanks at its ends.
std::string_view trimmed(std::string_view text);

// Calls visit(item) for every item of a list's text, without the blanks around it, while it returns true.
template <typename Visit>
void each_item(std::string_view text, Visit visit) {
    for (bool more = !trimmed(text).empty(); more;) {
        const size_t comma = text.find(',');
        if (!visit(trimmed(text.substr(0, comma)))) return;
        more = comma != text.npos;
        if (more) text.remove_prefix(comma + 1);
    }
}

// The value that a parameter has when nobody says another: "", false, 0, 0.0, or the first one of its enumeration.
Value empty_value(const SchemaNode &parameter);

}  // namespace ravd
