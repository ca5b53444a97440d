// What values a parameter takes: from JSON into the daemon's own form, and within its limits.
#pragma once

#include <optional>

#include <jansson.h>

#include "ravd/model/schema.h"
#include "ravd/model/value.h"

namespace ravd {

// json as a value of a parameter of that type code, sharing json where the type is "any"; nullopt when it has another
// JSON type than the parameter. An integer is taken for a decimal, a real is not taken for an integer.
std::optional<Value> value_from_json(int type, json_t *json);

// Why the parameter does not take value, as in "is not in enum"; null when it does. value has the parameter's own
// form. Patterns are not looked at.
const char *value_problem(const SchemaNode &parameter, const Value &value);

// The value that a parameter has when nobody says another: "", false, 0, 0.0, or the first one of its enumeration.
Value empty_value(const SchemaNode &parameter);

}  // namespace ravd
