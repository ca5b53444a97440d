// Methods about the device as a whole.
#include "ravd/audit.h"
#include "ravd/device_mode.h"
#include "ravd/firmware/upgrade.h"
#include "ravd/methods/handlers.h"
#include "ravd/restart.h"
#include "ravd/session.h"

namespace ravd {

Fault run_reboot(const Call &call, std::string &result) {
    if (call.viewer().role != Role::admin) return {9001, {}, {}};
    const Audit::Acting acting(call.services.audit, call.caller, "Reboot");
    Services &services = call.services;
    if (services.upgrades.is_applying() && !call.boolean("Force")) return {9001, "firmware is being installed", {}};
    if (call.find("DeviceMode") != nullptr)
        if (Fault fault = choose_device_mode(services.model, services.database, call.viewer(), call.text("DeviceMode")))
            return fault;
    services.audit.acted("reboot", call.params);
    services.restart.request();
    result += "{}";
    return {};
}

}  // namespace ravd
