// The debug mode, in which the log tells every request.
#pragma once

namespace ravd {

enum class DebugMode { disabled, temporary, permanent };

constexpr const char *debug_mode_names[] = {"Disabled", "Temporary", "Permanent"};  // by DebugMode

DebugMode debug_mode();
// Disabled at first. Any other mode has the log tell what it leaves out otherwise.
void set_debug_mode(DebugMode mode);

}  // namespace ravd
