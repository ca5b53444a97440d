// A parameter's value as the daemon holds it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <variant>

#include <jansson.h>

namespace ravd {

struct JsonRelease {
    void operator()(json_t *value) const { json_decref(value); }
};
using Json = std::unique_ptr<json_t, JsonRelease>;  // one owned reference

// A counted reference to an immutable JSON value, for parameters of the type "any".
class SharedJson {
 public:
    explicit SharedJson(json_t *borrowed) : json_(json_incref(borrowed)) {}
    SharedJson(const SharedJson &other) : json_(json_incref(other.json_)) {}
    SharedJson(SharedJson &&other) noexcept : json_(std::exchange(other.json_, nullptr)) {}
    SharedJson &operator=(SharedJson other) noexcept {
        std::swap(json_, other.json_);
        return *this;
    }
    ~SharedJson() { json_decref(json_); }

    json_t *get() const { return json_; }
    // Values are the same when they read the same.
    bool operator==(const SharedJson &other) const { return json_equal(json_, other.json_) != 0; }

 private:
    json_t *json_;
};

// The first alternative means "not set": the parameter has the schema's default.
using Value = std::variant<std::monostate, bool, int64_t, double, std::string, SharedJson>;

// Appends the value as compact JSON; an unset one as null.
void append_value(std::string &out, const Value &value);

}  // namespace ravd
