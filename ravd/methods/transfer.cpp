// Methods that take files onto the device and off it.
#include "ravd/firmware/firmware.h"
#include "ravd/methods/handlers.h"

namespace ravd {

Fault run_download(const Call &call, std::string &result) {
    if (call.text("FileType") == "Firmware") return download_firmware(call, result);
    return {9003, "FileType: not \"Firmware\"", {}};
}

}  // namespace ravd
