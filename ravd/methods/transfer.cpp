// Methods that take files onto the device and off it.
#include "ravd/firmware/firmware.h"
#include "ravd/log.h"
#include "ravd/methods/handlers.h"
#include "ravd/model/configuration.h"
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

std::string running_configuration(Model &model) {
    return export_configuration(model, Secrets::left_out);
}

std::string factory_configuration(Model &) {
    return default_configuration();
}

std::string log_of_late(Model &) {
    return log_recent();
}

constexpr struct {
    std::string_view file_type;
    std::string (*content)(Model &model);
} uploads[] = {
    {"Config", running_configuration},
    {"BuildConfig", factory_configuration},
    {"Log", log_of_late},
};

}  // namespace

Fault run_upload(const Call &call, std::string &) {
    if (call.viewer().role != Role::admin) return {9001, {}, {}};
    for (const auto &each : uploads)
        if (call.text("FileType") == each.file_type)
            return call.services.transfers.upload(call, each.content(call.services.model));
    return {9003, "FileType: not \"Config\", \"BuildConfig\" or \"Log\"", {}};
}

Fault run_download(const Call &call, std::string &result) {
    if (call.viewer().role != Role::admin) return {9001, {}, {}};
    for (const auto &each : downloads)
        if (call.text("FileType") == each.file_type) return each.run(call, result);
    return {9003, "FileType: not \"Firmware\", \"Config\" or \"File\"", {}};
}

}  // namespace ravd
