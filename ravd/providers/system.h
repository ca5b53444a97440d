// The kernel's own texts: the parts that read nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace ravd {

// When the kernel was started, in seconds since 1970, from the text of /proc/stat.
std::optional<int64_t> boot_second(std::string_view text);

// The bits that new files do not get, from the text of /proc/PID/status.
std::optional<int64_t> umask_of(std::string_view text);

}  // namespace ravd
