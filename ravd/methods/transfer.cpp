// Methods that take files onto the device.
#include "ravd/firmware/firmware.h"
#include "ravd/methods/handlers.h"
#include "ravd/session.h"
#include "ravd/transfers.h"

namespace ravd {

namespace {

Fault download_configuration(const Call &call, std::string &) {
    return call.services.transfers.download_configuration(call);
}

Fault download_file(const Call &call, std::string &) {
    return call.services.transfers.download_file(call);
}

constexpr struct {
    std::string_view file_type;
    Fault (*run)(const Call &call, std::string &result);
} downloads[] = {
    {"Firmware", download_firmware},
    {"Config", download_configuration},
    {"File", download_file},
};

}  // namespace

Fault run_download(const Call &call, std::string &result) {
    if (call.viewer().role != Role::admin) return {9001, {}, {}};
    for (const auto &each : downloads)
        if (call.text("FileType") == each.file_type) return each.run(call, result);
    return {9003, "FileType: not \"Firmware\", \"Config\" or \"File\"", {}};
}

}  // namespace ravd
