// The method Download for firmware: which step of the conversation a request is.
#pragma once

#include <string>

#include "ravd/methods.h"

namespace ravd {

// Serves a request of the FileType "Firmware", for admins; 9001 for everybody else.
Fault download_firmware(const Call &call, std::string &result);

}  // namespace ravd
