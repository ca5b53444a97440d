#include "ravd/saved_configuration.h"

#include <ctime>

#include "ravd/log.h"
#include "ravd/model/configuration.h"
#include "ravd/password.h"
#include "ravd/persist/database.h"

namespace ravd {

bool SavedConfiguration::load(std::string &error) {
    database_.clear();
    std::optional<std::string> saved = read("");
    error = database_.error();
    if (database_.failed()) return false;
    if (!saved) return true;
    Fault refused;
    ConfigurationImport import(model_);
    const Fault fault = import.read_what_fits(*saved, refused);
    wipe(*saved);
    if (!fault) import.make();
    if (fault) error = "the saved configuration can't be read: " + fault.detail;
    for (const auto &[name, reason] : refused.parameters)
        log_warning("saved, but not taken any more: %s: %s", name.c_str(), reason.c_str());
    return !fault;
}

bool SavedConfiguration::save(std::string_view restore_point) {
    std::string document = export_configuration(model_, Secrets::included);
    const auto store = [&](std::string_view name) {
        database_.prepare("INSERT OR REPLACE INTO configuration VALUES (?, ?, ?)")
            .bind(1, name)
            .bind(2, document)
            .bind(3, static_cast<int64_t>(time(nullptr)))
            .step();
    };
    database_.begin();
    store("");
    if (!restore_point.empty()) store(restore_point);
    wipe(document);
    if (database_.commit()) return true;
    log_error("the configuration could not be saved: %s", database_.error().c_str());
    return false;
}

void SavedConfiguration::forget(bool all) {
    database_.run(all ? "DELETE FROM configuration" : "DELETE FROM configuration WHERE name = ''");
}

std::string SavedConfiguration::document() {
    return read("").value_or(default_configuration());
}

std::optional<std::string> SavedConfiguration::restore_point(std::string_view name) {
    return name.empty() ? std::nullopt : read(name);
}

std::optional<std::string> SavedConfiguration::read(std::string_view name) {
    Statement read = database_.prepare("SELECT document FROM configuration WHERE name = ?");
    if (!read.bind(1, name).step()) return std::nullopt;
    return read.text(0);
}

}  // namespace ravd
