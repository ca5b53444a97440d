// ravd --set-password.
#pragma once

#include <string>

namespace ravd {

class Database;

// Reads a new password for the user from standard input, twice and without echo where that is a terminal, and stores
// its hash. Returns the exit status: 0, or 1 after saying on standard error what is wrong; then nothing has changed.
int set_password(Database &database, const std::string &user, unsigned hash_cost);

}  // namespace ravd
