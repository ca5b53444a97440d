// Device.System: the kernel, and the daemon as a process of it.
#include "ravd/providers/system.h"

#include <charconv>

#include <sched.h>
#include <stdlib.h>
#include <time.h>

#include "ravd/debug_mode.h"
#include "ravd/providers/facts.h"
#include "ravd/providers/providers.h"

namespace ravd {

namespace {

std::optional<Value> boot_time(const Viewer &) {
    const auto text = read_fact("/proc/stat");
    const auto started = text ? boot_second(*text) : std::nullopt;
    return started ? Value(utc_text(static_cast<time_t>(*started))) : Value();
}

std::optional<Value> boot_id(const Viewer &) {
    const auto text = read_fact("/proc/sys/kernel/random/boot_id");
    return text ? text_value(*text, 36) : Value();
}

template <int which>
std::optional<Value> load_average(const Viewer &) {
    double loads[3] = {};
    return getloadavg(loads, 3) > which ? Value(loads[which]) : Value();
}

std::optional<Value> kernel_taint(const Viewer &) {
    const auto taint = read_number("/proc/sys/kernel/tainted");
    return taint ? long_counter(static_cast<uint64_t>(*taint)) : Value();
}

// The first 63 processors: the number has no more bits.
std::optional<Value> processor_mask(const Viewer &) {
    cpu_set_t processors;
    CPU_ZERO(&processors);
    if (sched_getaffinity(0, sizeof processors, &processors) != 0) return Value();
    int64_t mask = 0;
    for (int bit = 0; bit < 63; bit++)
        if (CPU_ISSET(bit, &processors)) mask |= int64_t{1} << bit;
    return mask;
}

std::optional<Value> file_mode_mask(const Viewer &) {
    const auto text = read_fact("/proc/self/status");
    const auto mask = text ? umask_of(*text) : std::nullopt;
    return mask ? Value(*mask) : Value();
}

std::optional<Value> present_debug_mode(const Viewer &) {
    return debug_mode_names[static_cast<size_t>(debug_mode())];
}

constexpr LiveParameter parameters[] = {
    {"Device.System.BootTime", boot_time},
    {"Device.System.BootID", boot_id},
    {"Device.System.LoadAverage1", load_average<0>},
    {"Device.System.LoadAverage5", load_average<1>},
    {"Device.System.LoadAverage15", load_average<2>},
    {"Device.System.KernelTaint", kernel_taint},
    {"Device.System.ProcessorMask", processor_mask},
    {"Device.System.FileModeMask", file_mode_mask},
    {"Device.System.DebugMode", present_debug_mode},
};

// The number on the line that begins with name.
std::optional<int64_t> number_on_line(std::string_view text, std::string_view name, int base) {
    while (!text.empty()) {
        std::string_view line = next_word(text, "\n");
        if (next_word(line, " \t:") != name) continue;
        int64_t number = 0;
        const std::string_view word = next_word(line, " \t");
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number, base);
        if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
        return number;
    }
    return std::nullopt;
}

}  // namespace

std::optional<int64_t> boot_second(std::string_view text) {
    return number_on_line(text, "btime", 10);
}

std::optional<int64_t> umask_of(std::string_view text) {
    return number_on_line(text, "Umask", 8);
}

Provider system_provider() {
    return {"system", parameters, {}};
}

}  // namespace ravd
