// Images that stand in the file system of the device.
#pragma once

#include "ravd/firmware/upgrade.h"

namespace ravd {

// Fetches file:// URLs by the workers, with the rights of the daemon.
Upgrades::Fetch file_fetcher(const Call &call);

}  // namespace ravd
