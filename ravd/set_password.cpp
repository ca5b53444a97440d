// A new password from standard input.
#include "ravd/set_password.h"

#include <cstdio>
#include <string_view>

#include <unistd.h>

#include "ravd/accounts.h"
#include "ravd/password.h"
#include "ravd/persist/database.h"
#include "rv/rl.h"

namespace ravd {

namespace {

constexpr size_t longest = 64;  // as Device.Users.User.{i}.Password has it

int complain(const std::string &problem) {
    fprintf(stderr, "ravd: %s\n", problem.c_str());
    return 1;
}

// One line, byte by byte, so that nothing of it stays in a buffer.
std::string read_line() {
    std::string line;
    line.reserve(longest + 2);
    char c = 0;
    while (line.size() <= longest && read(STDIN_FILENO, &c, 1) == 1 && c != '\n') line += c;
    return line;
}

std::string ask(const std::string &prompt) {
    if (!isatty(STDIN_FILENO)) return read_line();
    rv_rl_echo_off(STDIN_FILENO);  // before anybody is asked: what was typed ahead is thrown away here
    fputs(prompt.c_str(), stderr);
    std::string line = read_line();
    rv_rl_echo_on(STDIN_FILENO);
    fputc('\n', stderr);
    return line;
}

bool has_control_character(std::string_view text) {
    for (const char c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) return true;
    return false;
}

}  // namespace

int set_password(Database &database, const std::string &user, unsigned hash_cost) {
    std::string password = ask("New password of " + user + ": ");
    std::string problem;
    if (password.empty()) problem = "no password was given";
    if (password.size() > longest) problem = "a password has at most 64 bytes";
    if (has_control_character(password)) problem = "a password has no control characters";
    if (problem.empty() && isatty(STDIN_FILENO)) {
        std::string again = ask("Once more: ");
        if (again != password) problem = "the two differ";
        wipe(again);
    }
    const std::string hash = problem.empty() ? hash_password(password, hash_cost) : "";
    wipe(password);
    if (problem.empty() && hash.empty()) problem = "the password can't be hashed";
    if (!problem.empty()) return complain(problem);
    return set_stored_password(database, user, hash, problem) ? 0 : complain(problem);
}

}  // namespace ravd
