// Fuzzes setting values: a parameter of every type and limit, typed or as text, against what it means to be accepted.
// The first byte chooses the parameter, the lowest bit of the second whether the value is taken as text; then comes the
// value, as JSON or, after the second-lowest bit, as the text itself. A third mode, the bit above, takes the value's
// first line for a pattern.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "ravd/json_text.h"
#include "ravd/model/check.h"
#include "ravd/model/model.h"
#include "ravd/model/parts.h"
#include "ravd/model/read.h"
#include "ravd/model/write.h"

namespace {

void must(bool good) {
    if (!good) abort();
}

struct Target {
    std::unique_ptr<ravd::Model> model;
    std::vector<const ravd::SchemaNode *> parameters;

    Target() {
        std::string error;
        model = ravd::Model::load(RAV_SOURCE "/tests/data/schema/yard", {}, error);
        must(model != nullptr);
        for (const auto &child : model->parts().schema->root.find("Device")->find("Values")->children)
            if (child->is_parameter()) parameters.push_back(child.get());
    }
};

// What is accepted is held as it was sent, within its limits, and reads back as JSON without control characters.
void set(Target &target, const ravd::SchemaNode &parameter, json_t *value, bool raw) {
    const std::string name = parameter.full_name();
    const ravd::Json pairs(json_pack("[{s:s, s:O}]", "Name", name.c_str(), "Value", value));
    const ravd::Viewer admin{ravd::Role::admin, "fuzz"};
    std::string result;
    const ravd::Fault fault = set_values(*target.model, admin, pairs.get(), raw, result);
    must(fault ? fault.code == 9003 && fault.parameters.size() == 1 && result.empty() : result == "{\"Status\":0}");
    if (fault) {
        must(fault.parameters[0].second == ravd::clean_utf8(fault.parameters[0].second));
        return;
    }
    must(!parameter.fixed);
    const ravd::Value &held = target.model->parts().root->value(parameter);
    must(held.index() == parameter.default_value.index() && value_problem(parameter, held).empty());
    std::string text;
    append_value(text, held);
    const ravd::Json back(json_loads(text.c_str(), JSON_DECODE_ANY, nullptr));
    must(back != nullptr);
    if (!raw && parameter.type != RV_TR_DECIMAL) must(json_equal(back.get(), value) != 0);
}

void match(std::string_view text) {
    const size_t end = std::min(text.find('\n'), text.size());
    std::string error;
    const auto pattern = ravd::Pattern::compile(std::string(text.substr(0, end)), error);
    must((pattern == nullptr) == !error.empty());
    if (pattern) pattern->match(text.substr(end));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static Target target;
    if (size < 2) return 0;
    const std::string_view text(reinterpret_cast<const char *>(data) + 2, size - 2);
    const ravd::SchemaNode &parameter = *target.parameters[data[0] % target.parameters.size()];
    const bool raw = (data[1] & 1) != 0, as_text = (data[1] & 2) != 0, as_pattern = (data[1] & 4) != 0;
    const ravd::Json utf8(json_stringn(text.data(), text.size()));
    if (as_pattern) {
        if (utf8) match(text);
        return 0;
    }
    const ravd::Json value(as_text ? json_incref(utf8.get())
                                   : json_loadb(text.data(), text.size(), JSON_DECODE_ANY, nullptr));
    if (value) set(target, parameter, value.get(), raw);
    return 0;
}
