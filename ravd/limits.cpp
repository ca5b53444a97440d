// The table of limits that can be set by name.
#include "ravd/limits.h"

#include <charconv>

namespace ravd {

namespace {

struct Row {
    std::string_view name;
    uint64_t ClientLimits::*member;
    uint64_t least, most;
};

constexpr uint64_t size_max = 1024 * mib;
constexpr uint64_t time_max = uint64_t{24} * 3600 * 1000;
constexpr uint64_t count_max = 1'048'576;

constexpr Row rows[] = {
    {"message-guest", &ClientLimits::message_guest, 64, size_max},
    {"message", &ClientLimits::message, 64, size_max},
    {"nesting", &ClientLimits::nesting, 2, 1024},
    {"values", &ClientLimits::values, 16, size_max},
    {"batch", &ClientLimits::batch, 1, count_max},
    {"batch-reply", &ClientLimits::batch_reply, 0, size_max},
    {"reply-guest", &ClientLimits::reply_guest, 0, size_max},
    {"reply", &ClientLimits::reply, 0, size_max},
    {"groups", &ClientLimits::groups, 1, count_max},
    {"login-ms", &ClientLimits::login_ms, 1, time_max},
    {"partial-ms", &ClientLimits::partial_ms, 1, time_max},
    {"linger-ms", &ClientLimits::linger_ms, 1, time_max},
    {"connections", &ClientLimits::connections, 1, count_max},
    {"per-uid", &ClientLimits::per_uid, 1, count_max},
    {"guests", &ClientLimits::guests, 0, count_max},
    {"guests-per-address", &ClientLimits::guests_per_address, 0, count_max},
    {"descriptors-percent", &ClientLimits::descriptors_percent, 1, 100},
    {"login-free", &ClientLimits::login_free, 0, count_max},
    {"login-pause-ms", &ClientLimits::login_pause_ms, 0, time_max},
    {"login-pause-max-ms", &ClientLimits::login_pause_max_ms, 0, time_max},
    {"login-forget-ms", &ClientLimits::login_forget_ms, 1, time_max},
    {"login-waiting", &ClientLimits::login_waiting, 0, count_max},
    {"login-peers", &ClientLimits::login_peers, 1, count_max},
    {"programs", &ClientLimits::programs, 1, 1024},
    {"programs-waiting", &ClientLimits::programs_waiting, 0, count_max},
    {"program-ms", &ClientLimits::program_ms, 1, time_max},
    {"program-output", &ClientLimits::program_output, 0, size_max},
    {"program-memory", &ClientLimits::program_memory, mib, uint64_t{1} << 50},
    {"program-processes", &ClientLimits::program_processes, 1, count_max},
    {"diagnostics", &ClientLimits::diagnostics, 1, 1024},
    {"diagnostic-ms", &ClientLimits::diagnostic_ms, 1, time_max},
    {"firmware", &ClientLimits::firmware, 0, size_max},
    {"firmware-wait-ms", &ClientLimits::firmware_wait_ms, 1, time_max},
    {"transfers", &ClientLimits::transfers, 1, 1024},
    {"transfer-ms", &ClientLimits::transfer_ms, 1, time_max},
    {"transfer-stall-ms", &ClientLimits::transfer_stall_ms, 1, time_max},
    {"transfer-floor", &ClientLimits::transfer_floor, 0, size_max},
    {"configuration", &ClientLimits::configuration, 0, size_max},
    {"file", &ClientLimits::file, 0, uint64_t{1} << 50},
    {"files", &ClientLimits::files, 0, uint64_t{1} << 50},
    {"files-count", &ClientLimits::files_count, 0, count_max},
    {"turn-requests", &ClientLimits::turn_requests, 1, count_max},
    {"turn-ms", &ClientLimits::turn_ms, 1, 1000},
    {"unsent-high", &ClientLimits::unsent_high, 1, size_max},
    {"unsent-low", &ClientLimits::unsent_low, 1, size_max},
    {"event-queue", &ClientLimits::event_queue, 0, size_max},
    {"event-room", &ClientLimits::event_room, 1, size_max},
};

}  // namespace

std::string set_limit(ClientLimits &limits, std::string_view assignment) {
    const size_t equals = assignment.find('=');
    const std::string_view name = assignment.substr(0, equals);
    for (const Row &row : rows) {
        if (row.name != name) continue;
        if (equals == std::string_view::npos) return std::string(name) + ": no value given";
        const std::string_view text = assignment.substr(equals + 1);
        uint64_t value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || end != text.data() + text.size()) return std::string(name) + ": not a number";
        if (value < row.least || value > row.most) {
            return std::string(name) + ": not from " + std::to_string(row.least) + " to " + std::to_string(row.most);
        }
        limits.*row.member = value;
        return {};
    }
    return "no limit named \"" + std::string(name) + "\"";
}

std::string describe_limits(const ClientLimits &limits) {
    std::string text;
    for (const Row &row : rows) {
        text.append("  ").append(row.name).append("=").append(std::to_string(limits.*row.member)).append("\n");
    }
    return text;
}

}  // namespace ravd
