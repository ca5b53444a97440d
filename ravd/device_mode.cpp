// The note is a setting of the database: a restart loads the saved configuration, which lacks what was set before it.
#include "ravd/device_mode.h"

#include <string>

#include "ravd/model/value.h"
#include "ravd/model/write.h"
#include "ravd/saved_configuration.h"
#include "ravd/settings.h"

namespace ravd {

namespace {

constexpr char setting[] = "next_device_mode";

Fault set_mode(Model &model, const Viewer &viewer, std::string_view mode) {
    const Json pairs(
        json_pack("[{s:s, s:s%}]", "Name", "Device.DeviceInfo.DeviceMode", "Value", mode.data(), mode.size()));
    std::string unused;
    return set_values(model, viewer, pairs.get(), false, unused);
}

}  // namespace

Fault choose_device_mode(Model &model, Database &database, const Viewer &viewer, std::string_view mode) {
    if (Fault fault = set_mode(model, viewer, mode)) return fault;
    if (!store_setting(database, setting, mode)) return {9002, "the mode could not be stored", {}};
    return {};
}

void adopt_device_mode(Model &model, Database &database, SavedConfiguration &saved) {
    const std::string mode = read_setting(database, setting);
    if (mode.empty()) return;
    if (set_mode(model, {Role::admin, ""}, mode) || saved.save()) store_setting(database, setting, "");
}

}  // namespace ravd
