// Device.LocalConfig: the running configuration against what is saved.
#include <string>

#include "ravd/checkpoint.h"
#include "ravd/events.h"
#include "ravd/json_text.h"
#include "ravd/model/configuration.h"
#include "ravd/operations/operations.h"
#include "ravd/password.h"
#include "ravd/saved_configuration.h"

namespace ravd {

namespace {

constexpr const char *kind_names[] = {"Set", "Added", "Deleted"};  // by Difference::Kind

}  // namespace

Fault run_diff(const Call &call, const Operation &, NamedValues &outputs) {
    Model &model = call.services.model;
    std::string saved = call.services.saved.document();
    std::string running = export_configuration(model, Secrets::included);
    const auto differences = compare_configurations(model, saved, running);
    wipe(saved);
    wipe(running);
    outputs.emplace_back("DifferenceNumberOfEntries", static_cast<int64_t>(differences.size()));
    int64_t number = 0;
    for (const Difference &difference : differences) {
        const std::string row = "Difference." + std::to_string(++number) + ".";
        outputs.emplace_back(row + "Path", difference.path);
        outputs.emplace_back(row + "Change", kind_names[static_cast<size_t>(difference.kind)]);
        if (difference.kind != Difference::Kind::set) continue;
        outputs.emplace_back(row + "Saved", difference.before);
        outputs.emplace_back(row + "Running", difference.after);
    }
    return {};
}

Fault run_restore(const Call &call, const Operation &operation, NamedValues &) {
    const Services &services = call.services;
    const std::string &name = operation.argument<std::string>("Name");
    std::optional<std::string> document = services.saved.restore_point(name);
    if (!document) return {9003, "there is no restore point of that name", {}};
    const Fault fault = import_configuration(services.model, *document);
    wipe(*document);
    if (fault) return fault;
    std::string params = R"({"Event":"ConfigRestored","RestorePointName":)";
    append_json_string(params, name);
    services.events.publish(system_group, params + '}');
    return {};
}

Fault run_checkpoint(const Call &call, const Operation &operation, NamedValues &) {
    const Services &services = call.services;
    if (services.checkpoint.is_open()) return {9001, "a checkpoint waits for its confirmation", {}};
    services.checkpoint.open(export_configuration(services.model, Secrets::included),
                             static_cast<unsigned>(operation.argument<int64_t>("Timeout")));
    return {};
}

Fault run_confirm(const Call &call, const Operation &, NamedValues &) {
    if (!call.services.checkpoint.close()) return {9001, "there is no checkpoint to be confirmed", {}};
    return {};
}

}  // namespace ravd
