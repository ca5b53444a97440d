// SaveConfig.
#include "ravd/audit.h"
#include "ravd/checkpoint.h"
#include "ravd/events.h"
#include "ravd/json_text.h"
#include "ravd/methods/handlers.h"
#include "ravd/saved_configuration.h"
#include "ravd/session.h"

namespace ravd {

namespace {

const Fault not_stored = {9002, "it could not be stored", {}};

std::string saved_event(std::string_view restore_point) {
    std::string params = R"({"Event":"ConfigSaved")";
    if (!restore_point.empty()) {
        params += R"(,"RestorePointName":)";
        append_json_string(params, restore_point);
    }
    return params += '}';
}

}  // namespace

Fault run_save_config(const Call &call, std::string &result) {
    const Services &services = call.services;
    if (call.viewer().role != Role::admin) return {9001, {}, {}};
    const std::string_view name = call.text("RestorePointName");
    if (call.find("RestorePointName") && (name.empty() || name.size() > longest_restore_point))
        return {9003, "RestorePointName: from 1 to 64 bytes", {}};
    if (services.checkpoint.is_open()) return {9001, "a checkpoint waits for its confirmation", {}};
    const Audit::Acting acting(services.audit, call.caller, "SaveConfig");
    if (!services.saved.save(name)) return not_stored;
    services.audit.acted("save", call.params);
    services.events.publish(system_group, saved_event(name));
    result += "{}";
    return {};
}

}  // namespace ravd
