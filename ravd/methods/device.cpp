// Methods about the device as a whole.
#include "ravd/audit.h"
#include "ravd/methods/handlers.h"
#include "ravd/restart.h"
#include "ravd/session.h"

namespace ravd {

Fault run_reboot(const Call &call, std::string &result) {
    if (call.viewer().role != Role::admin) return {9001, {}, {}};
    const Audit::Acting acting(call.services.audit, call.caller, "Reboot");
    call.services.audit.acted("reboot", call.params);
    call.services.restart.request();
    result += "{}";
    return {};
}

}  // namespace ravd
