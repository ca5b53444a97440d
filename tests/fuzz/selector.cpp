// Fuzzes selectors: what parses consists of parts of its text, and is evaluated on a model; the reply is JSON, and a
// fault leaves nothing behind.
#include "ravd/model/selector.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "ravd/model/model.h"
#include "ravd/model/read.h"
#include "ravd/model/write.h"

namespace {

void must(bool good) {
    if (!good) abort();
}

std::unique_ptr<ravd::Model> make_model() {
    std::string error;
    auto model = ravd::Model::load(RAV_SOURCE "/tests/data/schema/house", {}, error);
    must(model != nullptr);
    const ravd::Viewer admin{ravd::Role::admin, "fuzz"};
    for (const char *table : {"Device.Net.Rule", "Device.Net.Rule", "Device.Net.Rule"}) {
        std::string result;
        must(!add_object(*model, admin, table, result));
    }
    return model;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const std::unique_ptr<ravd::Model> model = make_model();
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    ravd::Selector selector;
    const bool sound = parse_selector(text, selector).empty();
    for (const ravd::Role role : {ravd::Role::admin, ravd::Role::guest}) {
        std::string result;
        const ravd::Fault fault = read_selection(*model, {role, ""}, text, result, 4096);
        must(sound || fault.code == 9003);
        must(fault ? result.empty() : ravd::Json(json_loads(result.c_str(), 0, nullptr)) != nullptr);
    }
    return 0;
}
