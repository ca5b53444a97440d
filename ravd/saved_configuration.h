// The configurations that are kept: the one that the next start loads, and restore points by their names.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ravd {

class Database;
class Model;

constexpr size_t longest_restore_point = 64;  // bytes of its name

class SavedConfiguration {
 public:
    // Borrows both.
    SavedConfiguration(Model &model, Database &database) : model_(model), database_(database) {}

    // Puts what was saved into the model. What a changed schema does not take any more is passed over and logged.
    // Returns false and sets error when the database fails.
    bool load(std::string &error);

    // Saves the model's configuration for the next start, and where restore_point is not empty under that name, too. It
    // is durable, as a whole, when this returns true; else nothing has changed and the log says why.
    bool save(std::string_view restore_point = {});
    // Has the next start begin with the defaults; all: the restore points go as well. Part of the database's open
    // transaction.
    void forget(bool all);

    // The document of what the next start loads, the defaults where nothing was saved.
    std::string document();
    // That of a restore point; nothing where there is none of that name.
    std::optional<std::string> restore_point(std::string_view name);

 private:
    std::optional<std::string> read(std::string_view name);

    Model &model_;
    Database &database_;
};

}  // namespace ravd
