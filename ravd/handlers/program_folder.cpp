// What may be started. Whoever could change a file between this check and its start could change it at any other time.
#include "ravd/handlers/program_folder.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ravd/model/handlers.h"

namespace ravd {

namespace {

// What is wrong with the owner or the mode, or nothing.
const char *trust_problem(const struct stat &file) {
    if (file.st_uid != 0 && file.st_uid != geteuid()) return "belongs to another user";
    if ((file.st_mode & (S_IWGRP | S_IWOTH)) != 0) return "may be written by others";
    return "";
}

}  // namespace

std::string ProgramFolder::open(const std::string &folder) {
    const std::unique_ptr<char, decltype(&free)> resolved(realpath(folder.c_str(), nullptr), free);
    struct stat file = {};
    if (!resolved || stat(resolved.get(), &file) != 0) return folder + ": " + strerror(errno);
    if (!S_ISDIR(file.st_mode)) return folder + ": is no folder";
    if (const char *problem = trust_problem(file); *problem) return folder + ": " + problem;
    path_ = resolved.get();
    return "";
}

std::string ProgramFolder::find(std::string_view name, std::string &problem) const {
    problem.clear();
    if (!is_program_name(name)) {
        problem = "is no name of a program";
        return "";
    }
    std::string path = path_ + "/" + std::string(name);
    struct stat file = {};
    if (!is_open()) {
        problem = "can't be started: no folder of handlers was given";
    } else if (lstat(path.c_str(), &file) != 0) {
        problem = strerror(errno);
    } else if (!S_ISREG(file.st_mode)) {
        problem = "is no regular file";
    } else if ((file.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) == 0) {
        problem = "is not executable";
    } else {
        problem = trust_problem(file);
    }
    return problem.empty() ? path : "";
}

std::string find_program_user(const std::string &name, std::optional<ProgramUser> &user, const char *password_file) {
    const std::unique_ptr<FILE, int (*)(FILE *)> file(fopen(password_file, "re"), fclose);
    if (!file) return std::string(password_file) + ": " + strerror(errno);
    passwd entry;
    passwd *found = nullptr;
    char buffer[4096];
    while (fgetpwent_r(file.get(), &entry, buffer, sizeof buffer, &found) == 0) {
        if (name != entry.pw_name) continue;
        if (geteuid() != 0 && entry.pw_uid != geteuid()) return name + ": only root can run programs as another user";
        user = {entry.pw_uid, entry.pw_gid};
        return "";
    }
    return name + ": no such user";
}

}  // namespace ravd
