// The last good copy of the database, beside it as "ravd.db.good": what is used when the database itself is damaged.
#pragma once

#include <string>

struct sqlite3;

namespace ravd {

// Makes the copy that of the database now: written beside, then put in its place, so that there is always a whole one.
// Returns false and sets error on failure; the copy is the earlier one then.
bool make_good_copy(sqlite3 *database, const std::string &path, std::string &error);
// Puts the copy in the place of the database at path, which must not be there. Returns false where there is no copy, or
// with error set on failure.
bool use_good_copy(const std::string &path, std::string &error);

// Makes an empty file at path that nobody but its owner can ever open, or finds a regular one there. Returns false and
// sets error when there is another thing.
bool make_private_file(const std::string &path, std::string &error);

}  // namespace ravd
