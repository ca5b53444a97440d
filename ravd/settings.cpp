#include "ravd/settings.h"

#include "ravd/persist/database.h"

namespace ravd {

std::string read_setting(Database &database, std::string_view name) {
    Statement read = database.prepare("SELECT value FROM setting WHERE name = ?");
    return read.bind(1, name).step() ? read.text(0) : "";
}

bool store_setting(Database &database, std::string_view name, std::string_view value) {
    database.begin();
    database.prepare("INSERT OR REPLACE INTO setting VALUES (?, ?)").bind(1, name).bind(2, value).step();
    return database.commit();
}

}  // namespace ravd
