// Facts about the device as a whole: the parts that read nothing.
#pragma once

#include <string>
#include <string_view>

namespace ravd {

// The name of the model, as Device.DeviceInfo.ModelName has it.
std::string device_model();

// True for what makers leave in place of a fact ("To Be Filled By O.E.M.", "Default string", "None").
bool is_placeholder(std::string_view fact);

// A serial number for a device that has none of its own: "RV-" and 16 hex digits, always the same for one machine id,
// which can't be told from it.
std::string serial_from_machine_id(std::string_view machine_id);

// The value of a line NAME=value or NAME="value" in the form of /etc/os-release; empty when there is none.
std::string os_release_field(std::string_view text, std::string_view name);

}  // namespace ravd
