// Values as JSON text.
#include "ravd/model/value.h"

#include "ravd/json_text.h"

namespace ravd {

namespace {

struct Appender {
    std::string &out;

    void operator()(std::monostate) const { out += "null"; }
    void operator()(bool value) const { out += value ? "true" : "false"; }
    void operator()(int64_t value) const { append_json_integer(out, value); }
    void operator()(double value) const { append_json_real(out, value); }
    void operator()(const std::string &value) const { append_json_string(out, value); }
    void operator()(const SharedJson &value) const { append_json(out, value.get()); }
};

}  // namespace

void append_value(std::string &out, const Value &value) {
    std::visit(Appender{out}, value);
}

}  // namespace ravd
