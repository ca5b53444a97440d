// How the present upgrade goes and which firmware runs: what the data model shows of it (Device.DeviceInfo). The only
// state of the process as a whole that ravd has, for providers are functions without an object, and a thread of the
// workers counts what it writes. Every function may be called on any thread.
#pragma once

#include <string>

namespace ravd {

struct UpgradeReport {
    // 1 while firmware is written, -1 after a failure, -2 when it has ended, else 0.
    int status = 0;
    int progress = 0;     // percent
    std::string message;  // in words
};

UpgradeReport upgrade_report();
// Sets status and message. An upgrade that begins (1) is at 0 percent, one that has ended (-2) at 100.
void report_upgrade(int status, std::string message);
void report_upgrade_progress(int percent);

// The version of the firmware that runs: of the active slot, else the program's own.
std::string running_version();
void set_running_version(std::string version);

}  // namespace ravd
