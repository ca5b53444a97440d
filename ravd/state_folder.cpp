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

namespace {

bool is_same_file(int fd, const std::string &path) {
    struct stat open_one = {}, named_one = {};
    return fstat(fd, &open_one) == 0 && lstat(path.c_str(), &named_one) == 0 && open_one.st_ino == named_one.st_ino &&
           open_one.st_dev == named_one.st_dev;
}

}  // namespace

bool StateFolder::open(const std::string &path, std::string &error, int kept) {
    const mode_t before = umask(0077);
    std::error_code failure;
    std::filesystem::create_directories(path, failure);
    umask(before);
    if (failure) {
        error = path + ": " + failure.message();
        return false;
    }
    const std::string file = path + "/lock";
    if (kept >= 0 && is_same_file(kept, file)) {
        lock_ = kept;
    } else {
        if (kept >= 0) close(kept);
        lock_ = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    }
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
