// The method Download for firmware: which step of the conversation a request is.
#pragma once

#include <string>

#include "ravd/methods.h"

namespace ravd {

// The caller's role and the request's FileType have been looked at by nobody yet but by the row of the table; this
// serves the type "Firmware", for admins.
Fault download_firmware(const Call &call, std::string &result);

}  // namespace ravd
