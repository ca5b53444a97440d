// FactoryReset. A program "factory-reset" of the device's maker comes first: what the daemon keeps goes only when it
// has done its part.
#include <memory>
#include <optional>
#include <string>

#include "ravd/accounts.h"
#include "ravd/audit.h"
#include "ravd/checkpoint.h"
#include "ravd/device_mode.h"
#include "ravd/events.h"
#include "ravd/handlers/changes.h"
#include "ravd/handlers/programs.h"
#include "ravd/json_text.h"
#include "ravd/log.h"
#include "ravd/methods/handlers.h"
#include "ravd/model/configuration.h"
#include "ravd/persist/database.h"
#include "ravd/saved_configuration.h"
#include "ravd/session.h"

namespace ravd {

namespace {

constexpr char program_name[] = "factory-reset";

struct Reset {
    const Services &services;
    bool all;              // restore points and users, too
    Json arguments;        // of the request; may be null
    const Member *caller;  // while there is one
    std::optional<std::string> mode = {};

    // Refuses or makes it. The handlers agree first. Then what is stored goes, in one transaction: when that fails
    // nothing has changed.
    Fault make(std::string &result) const;
};

Fault Reset::make(std::string &result) const {
    ConfigurationImport defaults(services.model);
    if (Fault fault = defaults.read(default_configuration())) return fault;
    if (!defaults.is_admitted()) return {};
    std::optional<Audit::Acting> acting;
    if (caller != nullptr) acting.emplace(services.audit, *caller, "FactoryReset");
    services.database.begin();
    services.saved.forget(all);
    if (all) services.accounts.store_reset();
    if (!services.database.commit()) {
        log_error("the reset could not be stored: %s", services.database.error().c_str());
        return {9002, "it could not be stored", {}};
    }
    services.audit.acted("reset", arguments.get());
    services.checkpoint.forget();
    defaults.make();
    if (all) services.accounts.reset();
    const Viewer own = {Role::admin, ""};
    if (mode) choose_device_mode(services.model, services.database, own, *mode);  // it was taken before
    services.events.publish(system_group, R"({"Event":"FactoryReset"})");
    result += "{}";
    return {};
}

std::string question(const Reset &reset) {
    std::string text = std::string(R"({"action":"factory-reset","cleanAll":)") + (reset.all ? "true" : "false");
    if (reset.mode) append_json_string(text += R"(,"deviceMode":)", *reset.mode);
    return text += "}\n";
}

// The client may have gone meanwhile: the device is being reset all the same.
void go_on(const std::shared_ptr<Reset> &reset, const std::shared_ptr<Deferred> &reply) {
    if (!reply->is_wanted()) reset->caller = nullptr;
    reset->services.changes.make_own([reset](std::string &result) { return reset->make(result); },
                                     [reply](const Fault &fault) { reply->answer(fault, "{}"); });
}

Fault run_program(const Call &call, const std::shared_ptr<Reset> &reset) {
    const auto reply = call.defer();
    const auto done = [reset, reply](const ProgramOutcome &outcome) {
        if (outcome.problem.empty()) return go_on(reset, reply);
        log_error("%s: %s", program_name, outcome.problem.c_str());
        reply->answer({9002, std::string(program_name) + ": " + outcome.problem, {}});
    };
    if (call.services.programs.run(program_name, question(*reset), done) == Programs::none)
        reply->answer({9004, "too many programs run", {}});
    return {};
}

}  // namespace

Fault run_factory_reset(const Call &call, std::string &result) {
    const Services &services = call.services;
    if (call.viewer().role != Role::admin) return {9001, {}, {}};
    const auto reset = std::make_shared<Reset>(
        Reset{services, call.boolean("CleanAll"), Json(json_incref(const_cast<json_t *>(call.params))), &call.caller});
    if (call.find("DeviceMode") != nullptr) {
        reset->mode = call.text("DeviceMode");
        if (Fault fault = choose_device_mode(services.model, services.database, call.viewer(), *reset->mode))
            return fault;
    }
    if (services.programs.problem_of(program_name).empty()) return run_program(call, reset);
    const auto make = [reset](std::string &made) { return reset->make(made); };
    return services.changes.make(
        call.caller, make, [&call] { return call.defer(); }, result);
}

}  // namespace ravd
