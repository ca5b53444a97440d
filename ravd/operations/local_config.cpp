// Device.LocalConfig: the running configuration against what is saved.
#include <string>

#include "ravd/audit.h"
#include "ravd/checkpoint.h"
#include "ravd/events.h"
#include "ravd/handlers/changes.h"
#include "ravd/json_text.h"
#include "ravd/model/configuration.h"
#include "ravd/operations/operations.h"
#include "ravd/password.h"
#include "ravd/saved_configuration.h"

namespace ravd {

namespace {

constexpr const char *kind_names[] = {"Set", "Added", "Deleted"};  // by Difference::Kind

Fault restore(const Services &services, Member &caller, const Operation &operation, std::string &result) {
    const std::string &name = operation.argument<std::string>("Name");
    std::string document = services.saved.restore_point(name).value_or("");
    ConfigurationImport import(services.model);
    const Fault fault = import.read(document);
    wipe(document);
    if (fault || !import.is_admitted()) return fault;
    const Audit::Acting acting(services.audit, caller, "Execute");
    import.make();
    services.audit.executed(operation);
    std::string params = R"({"Event":"ConfigRestored","RestorePointName":)";
    append_json_string(params, name);
    services.events.publish(system_group, params + '}');
    result += operation_result(*operation.method, {});
    return {};
}

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

// By the handlers that take part in what changes; so it may be answered later.
Fault run_restore(const Call &call, const Operation &operation, NamedValues &) {
    const Services &services = call.services;
    const std::string &name = operation.argument<std::string>("Name");
    if (!services.saved.restore_point(name)) return {9003, "there is no restore point of that name", {}};
    const auto make = [&services, &caller = call.caller, operation](std::string &result) {
        return restore(services, caller, operation, result);
    };
    std::string result;
    return services.changes.make(
        call.caller, make, [&call] { return call.defer(); }, result);
}

Fault run_checkpoint(const Call &call, const Operation &operation, NamedValues &) {
    const Services &services = call.services;
    if (services.checkpoint.is_open()) return {9001, "a checkpoint waits for its confirmation", {}};
    services.checkpoint.open(export_configuration(services.model, Secrets::included),
                             static_cast<unsigned>(operation.argument<int64_t>("Timeout")));
    return {};
}

Fault run_confirm(const Call &call, const Operation &, NamedValues &) {
    if (!call.services.checkpoint.confirm()) return {9001, "there is no checkpoint to be confirmed", {}};
    return {};
}

}  // namespace ravd
