// Device.Time: the clock and its zone.
#include "ravd/providers/time.h"

#include <cstdio>

#include <stdlib.h>
#include <sys/timex.h>

#include "ravd/providers/facts.h"
#include "ravd/providers/providers.h"

namespace ravd {

namespace {

std::optional<Value> status(const Viewer &) {
    timex clock = {};  // modes 0: only asks
    if (adjtimex(&clock) < 0) return Value();
    return std::string((clock.status & STA_UNSYNC) != 0 ? "Unsynchronized" : "Synchronized");
}

std::optional<Value> current_local_time(const Viewer &) {
    const time_t now = time(nullptr);
    tm local = {};
    tzset();
    return localtime_r(&now, &local) ? Value(local_text(local)) : Value();
}

std::optional<Value> local_time_zone(const Viewer &) {
    const auto file = read_fact("/etc/localtime");
    const std::string rule = file ? zone_rule(*file) : "";
    return text_value(rule.empty() ? "UTC0" : rule, 256);
}

constexpr LiveParameter parameters[] = {
    {"Device.Time.Status", status},
    {"Device.Time.CurrentLocalTime", current_local_time},
    {"Device.Time.LocalTimeZone", local_time_zone},
};

}  // namespace

std::string local_text(const tm &local) {
    char text[64];
    std::string moment(text, strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local));
    const long minutes = local.tm_gmtoff / 60;
    if (minutes == 0) return moment + "Z";
    const long distance = minutes < 0 ? -minutes : minutes;
    snprintf(text, sizeof text, "%c%02ld:%02ld", minutes < 0 ? '-' : '+', distance / 60, distance % 60);
    return moment + text;
}

std::string zone_rule(std::string_view file) {
    if (!file.starts_with("TZif") || !file.ends_with('\n')) return "";
    file.remove_suffix(1);
    const size_t start = file.rfind('\n');
    return start == file.npos ? "" : std::string(file.substr(start + 1));
}

Provider time_provider() {
    return {"time", parameters, {}};
}

}  // namespace ravd
