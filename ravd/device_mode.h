// The mode that the device is to have after a restart (Device.DeviceInfo.DeviceMode).
#pragma once

#include <string_view>

#include "ravd/model/access.h"
#include "ravd/model/fault.h"

namespace ravd {

class Database;
class Model;
class SavedConfiguration;

// Sets the mode, as the viewer may, and notes it for the next start. On a fault neither is done.
Fault choose_device_mode(Model &model, Database &database, const Viewer &viewer, std::string_view mode);
// At a start, when the saved configuration is loaded: sets a mode that was noted, saves it with that configuration, and
// forgets the note.
void adopt_device_mode(Model &model, Database &database, SavedConfiguration &saved);

}  // namespace ravd
