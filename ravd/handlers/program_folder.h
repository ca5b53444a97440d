// The folder with the programs that ravd may start, and the user that they run as.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ravd/handlers/program_process.h"

namespace ravd {

class ProgramFolder {
 public:
    // Takes the folder. Returns an empty text, or why it can't be used: it must belong to root or to ravd's own user,
    // and nobody else may write to it.
    std::string open(const std::string &folder);
    bool is_open() const { return !path_.empty(); }
    // Where the program of that name stands; "" where it is unfit, with the problem set: no such file, no regular one
    // (links are none), not executable, another user's, or open to the writing of others.
    std::string find(std::string_view name, std::string &problem) const;

 private:
    std::string path_;  // absolute
};

// The user of that name in a password file. Returns an empty text, or why programs can't run as that user.
std::string find_program_user(const std::string &name, std::optional<ProgramUser> &user,
                              const char *password_file = "/etc/passwd");

}  // namespace ravd
