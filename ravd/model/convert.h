// Values as clients send them.
#pragma once

#include <string>

#include <jansson.h>

#include "ravd/model/schema.h"
#include "ravd/model/value.h"

namespace ravd {

// Why a value or a name was refused.
struct Refusal {
    int code = 0;        // 0: it was not
    std::string reason;  // what follows the code's own text, may be empty

    explicit operator bool() const { return code != 0; }
};

// Gives value the parameter's form. raw: a text is taken for every type and read as the type's textual form: "true",
// "false", "1", "0"; integers in decimal digits or in the parameter's base as clients print it ("0x1f", "017",
// "0b101"); decimals; JSON for "any". 9006 when json has another type, 9007 for a number too large to be held.
Refusal convert(const SchemaNode &parameter, json_t *json, bool raw, Value &value);

// "70000 is above 65535": the value as a fault may show it, cut where it is long, and why it was refused. A secret's
// value is never shown.
std::string complaint(const SchemaNode &parameter, const Value &value, const std::string &problem);

}  // namespace ravd
