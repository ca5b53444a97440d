// Device.System.Debug: who asks shows the own password once more, but to end the mode.
#include <algorithm>
#include <string>

#include "ravd/audit.h"
#include "ravd/debug_mode.h"
#include "ravd/login.h"
#include "ravd/operations/operations.h"
#include "ravd/settings.h"

namespace ravd {

namespace {

constexpr const char *setting = "debug_mode";

DebugMode mode_of(std::string_view name) {
    const auto *const found = std::ranges::find(debug_mode_names, name);
    return found == std::end(debug_mode_names) ? DebugMode::disabled : static_cast<DebugMode>(found - debug_mode_names);
}

// What is stored is the mode of the next start.
Fault switch_to(DebugMode mode, Database &database) {
    const DebugMode next = mode == DebugMode::permanent ? mode : DebugMode::disabled;
    const char *name = debug_mode_names[static_cast<size_t>(next)];
    if (!store_setting(database, setting, name)) return {9002, "the mode could not be stored", {}};
    set_debug_mode(mode);
    return {};
}

}  // namespace

void restore_debug_mode(Database &database) {
    set_debug_mode(mode_of(read_setting(database, setting)));
}

Fault run_debug(const Call &call, const Operation &operation, NamedValues &) {
    const DebugMode mode = mode_of(operation.argument<std::string>("Mode"));
    Services &services = call.services;
    if (mode == DebugMode::disabled) return switch_to(mode, services.database);
    const std::shared_ptr<Deferred> reply = call.defer();
    services.logins.confirm(call.caller, operation.argument<std::string>("UserPassword"), reply,
                            [&services, &caller = call.caller, reply, operation, mode] {
                                const Fault fault = switch_to(mode, services.database);
                                const Audit::Acting acting(services.audit, caller, "Execute");
                                if (!fault) services.audit.executed(operation);
                                reply->answer(fault, operation_result(*operation.method, {}));
                            });
    return {};
}

}  // namespace ravd
