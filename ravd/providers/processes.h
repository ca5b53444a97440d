// Processes and processor time: the parts that read nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ravd {

// What /proc/PID/stat tells of a process.
struct ProcessStat {
    int64_t pid = 0;
    std::string command;  // as the kernel has it, not cleaned
    char state = '?';     // the kernel's letter
    int64_t cpu_ticks = 0;
    int64_t priority = 0;  // the kernel's own: negative for real-time processes
    int64_t resident_pages = 0;
};

// nullopt when text is no such line. A command may hold blanks and brackets.
std::optional<ProcessStat> parse_process_stat(std::string_view text);

// The data model's word for the kernel's letter.
const char *process_state(char letter);

// Processor time since the start of the kernel, of all processors together.
struct CpuTicks {
    int64_t busy = 0;
    int64_t total = 0;
};

// From the text of /proc/stat; nullopt when its first line is another one.
std::optional<CpuTicks> parse_cpu_ticks(std::string_view text);

// Percentage of processor time in use: between now and a reading that lies at least min_ticks back. The first one tells
// of all the time since the start. Readers who ask more often share one answer.
class CpuMeter {
 public:
    int64_t percent(CpuTicks now, int64_t min_ticks);

 private:
    CpuTicks before_;
    int64_t last_percent_ = 0;
};

}  // namespace ravd
