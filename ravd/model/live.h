// Live values: what providers declare to the model. A provider is a table of parameters, each read when a client asks
// for it, and of multi-instance objects, listed when a client reads below them. Providers know the machine; they know
// no session, no socket and no store.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ravd/model/value.h"

namespace ravd {

// Who is reading. Nothing but the parameters about the session itself may depend on it.
struct Viewer;

// One live parameter outside of live tables. read() gives its value now; nullopt means the viewer is denied it.
struct LiveParameter {
    const char *path;  // full name, "Device.DeviceInfo.UpTime"
    std::optional<Value> (*read)(const Viewer &viewer);
};

// The rows of a live table as the provider sees them now. A row is known by its key (an interface's name, an address,
// a process id): the store gives each new key an instance number that is never used twice, and deletes the instances
// whose keys are gone. Parameters that a row does not set keep what users set, or their defaults.
class LiveRows {
 public:
    struct Row {
        std::string key;
        std::vector<std::pair<std::string_view, Value>> values;     // names relative to the instance: "Stats.BytesSent"
        std::vector<std::pair<std::string_view, LiveRows>> tables;  // "IPv4Address", with its own rows

        Row &set(std::string_view name, Value value);
        LiveRows &table(std::string_view name) { return tables.emplace_back(name, LiveRows()).second; }
    };
    // The row is lent until the next add().
    Row &add(std::string key) { return rows.emplace_back(Row{std::move(key), {}, {}}); }

    std::vector<Row> rows;
};

// One live multi-instance object, with everything below it that it serves.
struct LiveTable {
    const char *path;                     // "Device.DeviceInfo.ProcessStatus.Process."
    std::span<const char *const> serves;  // parameters, relative: "PID", "Stats.BytesSent", "IPv4Address.{i}.IPAddress"
    void (*list)(LiveRows &rows);         // fills rows; on failure it leaves them empty
    bool announce;                        // instances that come and go are told as events
};

struct Provider {
    const char *name;
    std::span<const LiveParameter> parameters;
    std::span<const LiveTable> tables;
};

// Every provider of this program (ravd/providers/providers.cpp).
std::span<const Provider> all_providers();

}  // namespace ravd
