// One record behind a mutex.
#include "ravd/firmware/progress.h"

#include <mutex>
#include <utility>

namespace ravd {

namespace {

struct Shared {
    std::mutex mutex;
    UpgradeReport report;
    std::string version = RAV_VERSION;
};

Shared &shared() {
    static Shared one;
    return one;
}

}  // namespace

UpgradeReport upgrade_report() {
    const std::lock_guard lock(shared().mutex);
    return shared().report;
}

void report_upgrade(int status, std::string message) {
    const std::lock_guard lock(shared().mutex);
    UpgradeReport &report = shared().report;
    report.status = status;
    report.message = std::move(message);
    if (status == 1) report.progress = 0;
    if (status == -2) report.progress = 100;
}

void report_upgrade_progress(int percent) {
    const std::lock_guard lock(shared().mutex);
    shared().report.progress = percent;
}

std::string running_version() {
    const std::lock_guard lock(shared().mutex);
    return shared().version;
}

void set_running_version(std::string version) {
    const std::lock_guard lock(shared().mutex);
    shared().version = std::move(version);
}

}  // namespace ravd
