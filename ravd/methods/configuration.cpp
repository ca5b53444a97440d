// SaveConfig and FactoryReset.
#include "ravd/model/configuration.h"

#include "ravd/accounts.h"
#include "ravd/audit.h"
#include "ravd/checkpoint.h"
#include "ravd/events.h"
#include "ravd/handlers/changes.h"
#include "ravd/json_text.h"
#include "ravd/log.h"
#include "ravd/methods/handlers.h"
#include "ravd/persist/database.h"
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

// The handlers agree first. Then what is stored goes, in one transaction: when that fails nothing has changed.
Fault reset(const Call &call, std::string &result) {
    const Services &services = call.services;
    const bool all = call.boolean("CleanAll");
    ConfigurationImport defaults(services.model);
    if (Fault fault = defaults.read(default_configuration())) return fault;
    if (!defaults.is_admitted()) return {};
    const Audit::Acting acting(services.audit, call.caller, "FactoryReset");
    services.database.begin();
    services.saved.forget(all);
    if (all) services.accounts.store_reset();
    if (!services.database.commit()) {
        log_error("the reset could not be stored: %s", services.database.error().c_str());
        return not_stored;
    }
    services.audit.acted("reset", call.params);
    services.checkpoint.close();
    defaults.make();
    if (all) services.accounts.reset();
    services.events.publish(system_group, R"({"Event":"FactoryReset"})");
    result += "{}";
    return {};
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

Fault run_factory_reset(const Call &call, std::string &result) {
    if (call.viewer().role != Role::admin) return {9001, {}, {}};
    const auto make = [call](std::string &made) { return reset(call, made); };
    return call.services.changes.make(
        call.caller, make, [&call] { return call.defer(); }, result);
}

}  // namespace ravd
