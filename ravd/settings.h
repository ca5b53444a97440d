// Settings of the daemon itself that outlive it: texts by name, in the database.
#pragma once

#include <string>
#include <string_view>

namespace ravd {

class Database;

// "" when there is none, or the database fails.
std::string read_setting(Database &database, std::string_view name);
// Durable when this returns true.
bool store_setting(Database &database, std::string_view name, std::string_view value);

}  // namespace ravd
