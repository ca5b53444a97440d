// A digest over all that the database's tables hold. SQLite finds damage in the structure of its file; this one finds
// it in the values.
#pragma once

#include <string>

struct sqlite3;

namespace ravd {

// Hex digits; "" when the tables can't be read. The table "content", which keeps the digest, is left out.
std::string content_digest(sqlite3 *database);

}  // namespace ravd
