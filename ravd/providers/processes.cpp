// Device.DeviceInfo.ProcessStatus: the processes that /proc lists. One may end at any moment: it is left out then.
#include "ravd/providers/processes.h"

#include <algorithm>
#include <charconv>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include "ravd/providers/facts.h"
#include "ravd/providers/providers.h"

namespace ravd {

namespace {

std::optional<int64_t> to_number(std::string_view word) {
    int64_t number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (word.empty() || error != std::errc() || end != word.data() + word.size()) return std::nullopt;
    return number;
}

int64_t as_unsigned_int(int64_t number) {
    return std::clamp<int64_t>(number, 0, UINT32_MAX);
}

int64_t ticks_per_second() {
    return std::max<int64_t>(sysconf(_SC_CLK_TCK), 1);
}

void add_process(LiveRows &rows, const ProcessStat &process) {
    rows.add(std::to_string(process.pid))
        .set("PID", process.pid)
        .set("Command", text_value(process.command, 256))
        .set("Size", as_unsigned_int(process.resident_pages * (sysconf(_SC_PAGESIZE) / 1024)))
        .set("Priority", std::clamp<int64_t>(process.priority, 0, 99))
        .set("CPUTime", as_unsigned_int(process.cpu_ticks * 1000 / ticks_per_second()))
        .set("State", std::string(process_state(process.state)));
}

void list_processes(LiveRows &rows) {
    DIR *proc = opendir("/proc");
    if (!proc) return;
    while (const dirent *entry = readdir(proc)) {
        if (!to_number(entry->d_name)) continue;
        const auto text = read_fact_at(dirfd(proc), (std::string(entry->d_name) + "/stat").c_str());
        const auto process = text ? parse_process_stat(*text) : std::nullopt;
        if (process) add_process(rows, *process);
    }
    closedir(proc);
}

std::optional<Value> cpu_usage(const Viewer &) {
    static CpuMeter meter;
    const auto text = read_fact("/proc/stat");
    const auto ticks = text ? parse_cpu_ticks(*text) : std::nullopt;
    if (!ticks) return Value();
    return meter.percent(*ticks, ticks_per_second());
}

constexpr LiveParameter parameters[] = {{"Device.DeviceInfo.ProcessStatus.CPUUsage", cpu_usage}};

constexpr const char *served[] = {"PID", "Command", "Size", "Priority", "CPUTime", "State"};

constexpr LiveTable tables[] = {{"Device.DeviceInfo.ProcessStatus.Process.", served, list_processes, false}};

}  // namespace

std::optional<ProcessStat> parse_process_stat(std::string_view text) {
    const size_t open = text.find('(');
    const size_t close = text.rfind(')');
    if (open == text.npos || close == text.npos || close < open) return std::nullopt;
    std::string_view before = text.substr(0, open);
    const auto pid = to_number(next_word(before, " "));
    ProcessStat process;
    process.command = text.substr(open + 1, close - open - 1);

    // What follows the command, from its state (field 3 in the kernel's count) on.
    constexpr int state_field = 3, utime = 14, stime = 15, priority = 18, resident = 24;
    std::string_view rest = text.substr(close + 1);
    next_word(rest, " \n");
    int64_t fields[resident + 1] = {};
    for (int i = state_field; i <= resident; i++) {
        const std::string_view word = next_word(rest, " \n");
        if (i == state_field) {
            if (word.size() != 1) return std::nullopt;
            process.state = word[0];
            continue;
        }
        // Some fields, vsize for one, are unsigned and may not fit: they are none of those used here.
        fields[i] = to_number(word).value_or(0);
        if (word.empty()) return std::nullopt;
    }
    if (!pid) return std::nullopt;
    process.pid = *pid;
    process.cpu_ticks = fields[utime] + fields[stime];
    process.priority = fields[priority];
    process.resident_pages = fields[resident];
    return process;
}

const char *process_state(char letter) {
    switch (letter) {
        case 'R':
            return "Running";
        case 'D':
            return "Uninterruptible";
        case 'T':
        case 't':
            return "Stopped";
        case 'Z':
        case 'X':
        case 'x':
            return "Zombie";
        case 'I':
            return "Idle";
        default:
            return "Sleeping";
    }
}

std::optional<CpuTicks> parse_cpu_ticks(std::string_view text) {
    std::string_view line = next_word(text, "\n");
    if (next_word(line, " ") != "cpu") return std::nullopt;
    // user, nice, system, idle, iowait, irq, softirq, steal; guest times, which follow, are in user and nice already.
    constexpr int idle = 3, iowait = 4, count = 8;
    CpuTicks ticks;
    int seen = 0;
    for (; seen < count && !line.empty(); seen++) {
        const auto part = to_number(next_word(line, " "));
        if (!part) return std::nullopt;
        ticks.total += *part;
        if (seen != idle && seen != iowait) ticks.busy += *part;
    }
    if (seen <= idle) return std::nullopt;
    return ticks;
}

int64_t CpuMeter::percent(CpuTicks now, int64_t min_ticks) {
    const int64_t total = now.total - before_.total;
    if (total < min_ticks) return last_percent_;
    last_percent_ = std::clamp<int64_t>((now.busy - before_.busy) * 100 / total, 0, 100);
    before_ = now;
    return last_percent_;
}

Provider processes_provider() {
    return {"processes", parameters, tables};
}

}  // namespace ravd
