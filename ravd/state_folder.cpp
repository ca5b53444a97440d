// The state folder and its lock file.
#include "ravd/state_folder.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ravd {

StateFolder::~StateFolder() {
    if (lock_ >= 0) close(lock_);
}

bool StateFolder::open(const std::string &path, std::string &error) {
    const mode_t before = umask(0077);
    std::error_code failure;
    std::filesystem::create_directories(path, failure);
    umask(before);
    if (failure) {
        error = path + ": " + failure.message();
        return false;
    }
    const std::string file = path + "/lock";
    lock_ = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (lock_ < 0) {
        error = file + ": " + strerror(errno);
        return false;
    }
    if (flock(lock_, LOCK_EX | LOCK_NB) != 0) {
        error = errno == EWOULDBLOCK ? path + ": another ravd uses this state folder" : file + ": " + strerror(errno);
        return false;
    }
    return true;
}

}  // namespace ravd
