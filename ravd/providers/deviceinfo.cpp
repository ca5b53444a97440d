// Device.DeviceInfo: maker, model and versions from the firmware's tables or the device tree, names from the kernel.
// A fact that neither gives is left to its default.
#include "ravd/providers/deviceinfo.h"

#include <algorithm>
#include <initializer_list>

#include <openssl/evp.h>
#include <strings.h>
#include <sys/utsname.h>
#include <time.h>

#include "ravd/firmware/progress.h"
#include "ravd/providers/facts.h"
#include "ravd/providers/providers.h"

namespace ravd {

namespace {

constexpr size_t max_name = 64;

// The first of these files that states a fact; unset when none does.
Value first_fact(std::initializer_list<const char *> paths, size_t max_characters = max_name) {
    for (const char *path : paths) {
        const auto text = read_fact(path);
        if (!text) continue;
        Value fact = text_value(*text, max_characters);
        const auto *stated = std::get_if<std::string>(&fact);
        if (stated && !is_placeholder(*stated)) return fact;
    }
    return {};
}

bool is_set(const Value &value) {
    return !std::holds_alternative<std::monostate>(value);
}

utsname kernel() {
    utsname names = {};
    uname(&names);
    return names;
}

std::optional<Value> manufacturer(const Viewer &) {
    return first_fact({"/sys/class/dmi/id/sys_vendor", "/sys/class/dmi/id/board_vendor"});
}

std::optional<Value> model_name(const Viewer &) {
    return device_model();
}

std::optional<Value> model_number(const Viewer &) {
    return first_fact({"/sys/class/dmi/id/product_sku"});
}

std::optional<Value> product_class(const Viewer &) {
    return first_fact({"/sys/class/dmi/id/product_family"});
}

std::optional<Value> hardware_version(const Viewer &) {
    const Value version = first_fact({"/sys/class/dmi/id/product_version", "/sys/class/dmi/id/board_version"});
    return is_set(version) ? version : text_value(kernel().machine, max_name);
}

std::optional<Value> serial_number(const Viewer &) {
    const Value serial = first_fact({"/sys/class/dmi/id/product_serial", "/proc/device-tree/serial-number"});
    if (is_set(serial)) return serial;
    const auto id = read_fact("/etc/machine-id");
    return id && !id->empty() ? Value(serial_from_machine_id(*id)) : Value();
}

std::optional<Value> description(const Viewer &) {
    const auto text = read_fact("/etc/os-release");
    return text ? text_value(os_release_field(*text, "PRETTY_NAME"), 256) : Value();
}

std::optional<Value> software_version(const Viewer &) {
    return running_version();
}

std::optional<Value> upgrade_progress(const Viewer &) {
    return int64_t{upgrade_report().progress};
}

std::optional<Value> upgrade_status(const Viewer &) {
    return int64_t{upgrade_report().status};
}

std::optional<Value> upgrade_message(const Viewer &) {
    return upgrade_report().message;
}

std::optional<Value> additional_software_version(const Viewer &) {
    const utsname names = kernel();
    return text_value(std::string(names.sysname) + " " + names.release, max_name);
}

std::optional<Value> up_time(const Viewer &) {
    timespec since_start = {};
    clock_gettime(CLOCK_BOOTTIME, &since_start);
    return static_cast<int64_t>(since_start.tv_sec);
}

std::optional<Value> host_name(const Viewer &) {
    return text_value(kernel().nodename, 255);
}

constexpr LiveParameter parameters[] = {
    {"Device.DeviceInfo.Manufacturer", manufacturer},
    {"Device.DeviceInfo.ModelName", model_name},
    {"Device.DeviceInfo.ModelNumber", model_number},
    {"Device.DeviceInfo.Description", description},
    {"Device.DeviceInfo.ProductClass", product_class},
    {"Device.DeviceInfo.SerialNumber", serial_number},
    {"Device.DeviceInfo.HardwareVersion", hardware_version},
    {"Device.DeviceInfo.SoftwareVersion", software_version},
    {"Device.DeviceInfo.AdditionalSoftwareVersion", additional_software_version},
    {"Device.DeviceInfo.UpTime", up_time},
    {"Device.DeviceInfo.HostName", host_name},
    {"Device.DeviceInfo.UpgradeProgress", upgrade_progress},
    {"Device.DeviceInfo.UpgradeStatus", upgrade_status},
    {"Device.DeviceInfo.UpgradeMessage", upgrade_message},
};

}  // namespace

std::string device_model() {
    const Value name = first_fact({"/sys/class/dmi/id/product_name", "/proc/device-tree/model"});
    return std::get<std::string>(is_set(name) ? name
                                              : text_value(std::string("Generic ") + kernel().machine, max_name));
}

bool is_placeholder(std::string_view fact) {
    constexpr const char *placeholders[] = {"To Be Filled By O.E.M.",
                                            "Default string",
                                            "Not Specified",
                                            "Not Applicable",
                                            "System Product Name",
                                            "System manufacturer",
                                            "System Version",
                                            "System Serial Number",
                                            "Unknown",
                                            "None",
                                            "N/A",
                                            "0",
                                            "0123456789"};
    const std::string text(fact);
    return std::ranges::any_of(placeholders, [&](const char *p) { return strcasecmp(p, text.c_str()) == 0; });
}

std::string serial_from_machine_id(std::string_view machine_id) {
    const std::string_view id = next_word(machine_id, " \r\n");
    std::string secret = "serial number of ";
    secret += id;
    unsigned char digest[EVP_MAX_MD_SIZE];
    if (EVP_Digest(secret.data(), secret.size(), digest, nullptr, EVP_sha256(), nullptr) != 1) return "";
    std::string serial = "RV-";
    for (size_t i = 0; i < 8; i++) {
        serial += "0123456789ABCDEF"[digest[i] >> 4];
        serial += "0123456789ABCDEF"[digest[i] & 15];
    }
    return serial;
}

std::string os_release_field(std::string_view text, std::string_view name) {
    while (!text.empty()) {
        std::string_view line = next_word(text, "\n");
        if (!line.starts_with(name) || line.substr(name.size(), 1) != "=") continue;
        line.remove_prefix(name.size() + 1);
        const bool quoted = line.size() >= 2 && line.front() == line.back() && (line[0] == '"' || line[0] == '\'');
        return std::string(quoted ? line.substr(1, line.size() - 2) : line);
    }
    return "";
}

Provider deviceinfo_provider() {
    return {"deviceinfo", parameters, {}};
}

}  // namespace ravd
