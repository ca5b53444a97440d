// A request with a TransactionID ends the conversation, one way or the other; the others begin it.
#include "ravd/firmware/firmware.h"

#include <algorithm>

#include "ravd/audit.h"
#include "ravd/firmware/upgrade.h"
#include "ravd/session.h"

namespace ravd {

namespace {

std::optional<uint64_t> size_of(const Call &call) {
    const json_t *size = call.find("FileSize");
    if (size == nullptr) return std::nullopt;
    return static_cast<uint64_t>(std::max<json_int_t>(json_integer_value(size), 0));
}

}  // namespace

Fault download_firmware(const Call &call, std::string &result) {
    if (call.viewer().role != Role::admin) return {9001, {}, {}};
    Upgrades &upgrades = call.services.upgrades;
    const Session &session = call.caller.session();
    const Audit::Acting acting(call.services.audit, call.caller, "Download");
    result += "{}";
    if (const json_t *transaction = call.find("TransactionID")) {
        const char *text = json_string_value(transaction);
        const std::string id = text != nullptr ? text : "";
        return call.text("URL").empty() ? upgrades.cancel(session, id) : upgrades.apply(call, id);
    }
    if (call.boolean("NeedPreUpdate")) return upgrades.check(session, size_of(call));
    if (call.text("URL").empty()) return {9003, "URL: missing", {}};
    upgrades.fetch(call, {std::string(call.text("URL")), std::string(call.text("MD5")), size_of(call),
                          call.services.limits.firmware, call.caller.peer()});
    return {};
}

}  // namespace ravd
