// The providers on the machine that runs the test, against what the machine says by other ways.
#include <algorithm>
#include <set>

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "ravd/model/access.h"
#include "ravd/model/live.h"

namespace ravd {
namespace {

const Viewer guest;

std::optional<Value> read_live(std::string_view path, const Viewer &viewer = guest) {
    for (const Provider &provider : all_providers())
        for (const LiveParameter &parameter : provider.parameters)
            if (parameter.path == path) return parameter.read(viewer);
    ADD_FAILURE() << "nobody serves " << path;
    return std::nullopt;
}

std::string read_text(std::string_view path) {
    const auto value = read_live(path);
    const auto *text = value ? std::get_if<std::string>(&*value) : nullptr;
    return text ? *text : "";
}

int64_t read_integer(std::string_view path) {
    const auto value = read_live(path);
    const auto *number = value ? std::get_if<int64_t>(&*value) : nullptr;
    return number ? *number : -1;
}

LiveRows list_live(std::string_view path) {
    LiveRows rows;
    for (const Provider &provider : all_providers())
        for (const LiveTable &table : provider.tables)
            if (table.path == path) table.list(rows);
    return rows;
}

const LiveRows::Row *row_of(const LiveRows &rows, std::string_view key) {
    const auto row = std::ranges::find(rows.rows, key, &LiveRows::Row::key);
    return row == rows.rows.end() ? nullptr : &*row;
}

const LiveRows *table_of(const LiveRows::Row &row, std::string_view name) {
    for (const auto &[table_name, rows] : row.tables)
        if (table_name == name) return &rows;
    return nullptr;
}

// What a row says of a parameter, an unset value where it says nothing.
Value value_of(const LiveRows::Row *row, std::string_view name) {
    if (!row) return {};
    for (const auto &[value_name, value] : row->values)
        if (value_name == name) return value;
    return {};
}

std::string text_of(const LiveRows::Row *row, std::string_view name) {
    const Value value = value_of(row, name);
    const auto *text = std::get_if<std::string>(&value);
    return text ? *text : "";
}

TEST(Machine, NamesAndVersions) {
    char name[256] = {};
    gethostname(name, sizeof name - 1);
    utsname kernel = {};
    uname(&kernel);
    EXPECT_EQ(read_text("Device.DeviceInfo.HostName"), name);
    EXPECT_EQ(read_text("Device.DeviceInfo.SoftwareVersion"), RAV_VERSION);
    EXPECT_EQ(read_text("Device.DeviceInfo.AdditionalSoftwareVersion"), std::string("Linux ") + kernel.release);
    EXPECT_NE(read_text("Device.DeviceInfo.ModelName"), "");
}

TEST(Machine, TimeAndMemory) {
    EXPECT_GT(read_integer("Device.DeviceInfo.UpTime"), 0);
    const int64_t total = sysconf(_SC_PHYS_PAGES) * (sysconf(_SC_PAGESIZE) / 1024);
    EXPECT_EQ(read_integer("Device.DeviceInfo.MemoryStatus.Total"), total);
    EXPECT_GT(read_integer("Device.DeviceInfo.MemoryStatus.Free"), 0);
    EXPECT_LT(read_integer("Device.DeviceInfo.MemoryStatus.Free"), total);
    const int64_t percent = read_integer("Device.DeviceInfo.ProcessStatus.CPUUsage");
    EXPECT_GE(percent, 0);
    EXPECT_LE(percent, 100);
}

TEST(Machine, ThisProcessIsAmongTheProcesses) {
    const LiveRows rows = list_live("Device.DeviceInfo.ProcessStatus.Process.");
    const LiveRows::Row *self = row_of(rows, std::to_string(getpid()));
    ASSERT_TRUE(self);
    EXPECT_EQ(std::get<int64_t>(value_of(self, "PID")), getpid());
    EXPECT_EQ(text_of(self, "Command"), std::string(program_invocation_short_name).substr(0, 15));
    EXPECT_EQ(text_of(self, "State"), "Running");
    EXPECT_GT(std::get<int64_t>(value_of(self, "Size")), 0);
}

TEST(Machine, AsManyProcessorsAsAreOnline) {
    const LiveRows rows = list_live("Device.DeviceInfo.Processor.");
    EXPECT_EQ(rows.rows.size(), static_cast<size_t>(sysconf(_SC_NPROCESSORS_ONLN)));
}

TEST(Machine, LoopbackWithItsAddress) {
    const LiveRows rows = list_live("Device.IP.Interface.");
    const LiveRows::Row *lo = row_of(rows, "lo");
    ASSERT_TRUE(lo);
    EXPECT_EQ(text_of(lo, "Name"), "lo");
    EXPECT_EQ(text_of(lo, "Type"), "Loopback");
    EXPECT_TRUE(std::get<bool>(value_of(lo, "Loopback")));
    const LiveRows *addresses = table_of(*lo, "IPv4Address");
    ASSERT_TRUE(addresses);
    const LiveRows::Row *address = row_of(*addresses, "127.0.0.1/8");
    ASSERT_TRUE(address);
    EXPECT_EQ(text_of(address, "IPAddress"), "127.0.0.1");
    EXPECT_EQ(text_of(address, "SubnetMask"), "255.0.0.0");
}

// The names that the kernel shows in a folder.
std::set<std::string> names_in(const char *folder) {
    std::set<std::string> names;
    DIR *dir = opendir(folder);
    while (const dirent *entry = dir ? readdir(dir) : nullptr)
        if (entry->d_name[0] != '.') names.insert(entry->d_name);
    if (dir) closedir(dir);
    return names;
}

TEST(Machine, EveryEthernetPortIsALinkOfTheKernel) {
    const std::set<std::string> links = names_in("/sys/class/net");
    for (const char *path : {"Device.Ethernet.Interface.", "Device.Ethernet.Link."})
        for (const LiveRows::Row &row : list_live(path).rows) {
            EXPECT_TRUE(links.contains(row.key)) << row.key;
            EXPECT_EQ(text_of(&row, "MACAddress").size(), 17U);
            EXPECT_NE(row.key, "lo");
        }
}

TEST(Machine, OneRouterWithItsRoutes) {
    const LiveRows rows = list_live("Device.Routing.Router.");
    ASSERT_EQ(rows.rows.size(), 1U);
    EXPECT_EQ(rows.rows[0].key, "main");
    const LiveRows *routes = table_of(rows.rows[0], "IPv4Forwarding");
    ASSERT_TRUE(routes);
    std::set<std::string> keys;
    for (const LiveRows::Row &route : routes->rows) EXPECT_TRUE(keys.insert(route.key).second) << route.key;
}

// Descriptors that programs started by this one would inherit.
size_t inheritable_descriptors() {
    size_t count = 0;
    for (const std::string &fd : names_in("/proc/self/fdinfo")) {
        const int flags = fcntl(std::stoi(fd), F_GETFD);
        if (flags >= 0 && (flags & FD_CLOEXEC) == 0) count++;
    }
    return count;
}

TEST(Machine, ReadingEverythingLeavesNoDescriptorOpen) {
    const size_t open_before = names_in("/proc/self/fd").size();
    const size_t inheritable_before = inheritable_descriptors();
    for (const Provider &provider : all_providers()) {
        for (const LiveParameter &parameter : provider.parameters) parameter.read(guest);
        for (const LiveTable &table : provider.tables) list_live(table.path);
    }
    EXPECT_EQ(names_in("/proc/self/fd").size(), open_before);
    EXPECT_EQ(inheritable_descriptors(), inheritable_before);
}

// Names that a listing sets, with "{i}" for instances of the tables inside.
void collect_names(const LiveRows &rows, const std::string &prefix, std::set<std::string> &names) {
    for (const LiveRows::Row &row : rows.rows) {
        for (const auto &[name, value] : row.values) names.insert(prefix + std::string(name));
        for (const auto &[name, inner] : row.tables) collect_names(inner, prefix + std::string(name) + ".{i}.", names);
    }
}

TEST(Machine, ListingsSetWhatTheyDeclareAndKeysDiffer) {
    for (const Provider &provider : all_providers())
        for (const LiveTable &table : provider.tables) {
            LiveRows rows;
            table.list(rows);
            std::set<std::string> keys, names;
            for (const LiveRows::Row &row : rows.rows) EXPECT_TRUE(keys.insert(row.key).second) << row.key;
            collect_names(rows, "", names);
            for (const std::string &name : names)
                EXPECT_NE(std::ranges::find(table.serves, name), table.serves.end()) << table.path << name;
        }
}

TEST(Machine, TheSessionsOwnIdentity) {
    const Viewer nobody_as_admin{Role::admin, ""};
    const Viewer admin{Role::admin, "root"};
    const Viewer user{Role::user, "ann"};
    EXPECT_FALSE(read_live("Device.Users.CurrentUser", nobody_as_admin));
    EXPECT_EQ(std::get<std::string>(*read_live("Device.Users.CurrentUser", user)), "ann");
    EXPECT_EQ(std::get<bool>(*read_live("Device.Users.SystemAccess", nobody_as_admin)), false);
    EXPECT_EQ(std::get<bool>(*read_live("Device.Users.SystemAccess", user)), false);
    EXPECT_EQ(std::get<bool>(*read_live("Device.Users.SystemAccess", admin)), true);
}

TEST(Machine, ClockAndKernel) {
    EXPECT_EQ(read_text("Device.Time.CurrentLocalTime").substr(0, 2), "20");
    EXPECT_EQ(read_text("Device.System.BootID").size(), 36U);
    const mode_t mask = umask(027);
    const int64_t told = read_integer("Device.System.FileModeMask");
    umask(mask);
    EXPECT_EQ(told, 027);
    EXPECT_GT(read_integer("Device.System.ProcessorMask"), 0);
}

}  // namespace
}  // namespace ravd
