// The daemon's log: one line a message on standard error, with the "<N>" priority prefix that journald reads.
#pragma once

#include <string>

namespace ravd {

enum class LogLevel { error = 3, warning = 4, info = 6, debug = 7 };

// Messages above this level are left out. LogLevel::info at first.
void log_set_level(LogLevel level);
// Nothing is left out while all is told.
void log_tell_all(bool all);
// Whether messages of a level are written.
bool log_tells(LogLevel level);

// The last lines that were written, up to some 256 KiB, without their priorities.
std::string log_recent();

// Writes a line that is told once and not kept for log_recent(), as a notice, at every level.
void log_once(const std::string &text);
// Writes a line of what was done, as a notice; no level leaves it out, and nothing is cut. Escaped as below.
void log_audit(const std::string &text);

// Write one line. Whatever is not printable ASCII goes out as "\xNN", so that a name from outside can neither forge
// a line nor drive a terminal. A line is cut at 2048 bytes. Keeps errno.
__attribute__((format(printf, 1, 2))) void log_error(const char *format, ...);
__attribute__((format(printf, 1, 2))) void log_warning(const char *format, ...);
__attribute__((format(printf, 1, 2))) void log_info(const char *format, ...);
__attribute__((format(printf, 1, 2))) void log_debug(const char *format, ...);

}  // namespace ravd
