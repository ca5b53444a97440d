// Device.DeviceInfo.Processor: the processors that the kernel uses now.
#include "ravd/providers/processors.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <numeric>

#include <sys/utsname.h>
#include <unistd.h>

#include "ravd/providers/facts.h"
#include "ravd/providers/providers.h"

namespace ravd {

namespace {

constexpr int max_processors = 4096;

std::vector<int> online_processors() {
    const auto text = read_fact("/sys/devices/system/cpu/online");
    std::vector<int> numbers = text ? parse_cpu_list(*text) : std::vector<int>();
    if (!numbers.empty()) return numbers;
    numbers.resize(static_cast<size_t>(std::clamp<long>(sysconf(_SC_NPROCESSORS_ONLN), 1, max_processors)));
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
}

void list_processors(LiveRows &rows) {
    utsname names = {};
    uname(&names);
    for (const int number : online_processors())
        rows.add("cpu" + std::to_string(number)).set("Architecture", std::string(architecture_name(names.machine)));
}

constexpr const char *served[] = {"Architecture"};

constexpr LiveTable tables[] = {{"Device.DeviceInfo.Processor.", served, list_processors, true}};

}  // namespace

std::vector<int> parse_cpu_list(std::string_view text) {
    std::vector<int> numbers;
    while (!text.empty()) {
        const std::string_view piece = next_word(text, ",\n");
        const char *end = piece.data() + piece.size();
        int first = 0;
        auto [stop, error] = std::from_chars(piece.data(), end, first);
        if (error != std::errc() || first < 0) break;
        int last = first;
        if (stop != end && *stop == '-') {
            const auto second = std::from_chars(stop + 1, end, last);
            if (second.ec != std::errc()) break;
            stop = second.ptr;
        }
        if (stop != end) break;
        for (int number = first; number <= std::min(last, max_processors - 1); number++) numbers.push_back(number);
    }
    return numbers;
}

const char *architecture_name(std::string_view machine) {
    constexpr bool little = std::endian::native == std::endian::little;
    struct Row {
        std::string_view begin;
        const char *name;
    };
    constexpr Row rows[] = {
        {"x86_64", "x86_64"},
        {"aarch64", "aarch64"},
        {"arm", "arm"},
        {"i386", "i386"},
        {"i486", "i386"},
        {"i586", "i386"},
        {"i686", "i386"},
        {"riscv", "riscv"},
        {"ppc", "powerpc"},
        {"m68k", "m68k"},
        {"mips", little ? "mipsel" : "mipseb"},
        {"sh3", little ? "sh3el" : "sh3eb"},
    };
    for (const Row &row : rows)
        if (machine.starts_with(row.begin)) return row.name;
    return "other";
}

Provider processors_provider() {
    return {"processors", {}, tables};
}

}  // namespace ravd
