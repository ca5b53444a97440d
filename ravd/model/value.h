// A parameter's value as the daemon holds it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>

#include <jansson.h>

namespace ravd {

struct JsonRelease {
    void operator()(json_t *value) const { json_decref(value); }
};
using Json = std::unique_ptr<json_t, JsonRelease>;  // one owned reference

struct SharedJson {  // an immutable JSON value, for parameters of the type "any"
    std::shared_ptr<json_t> json;
};

// The first alternative means "not set": the parameter has the schema's default.
using Value = std::variant<std::monostate, bool, int64_t, double, std::string, SharedJson>;

// Appends the value as compact JSON; an unset one as null.
void append_value(std::string &out, const Value &value);

}  // namespace ravd
