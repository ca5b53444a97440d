// Files come without a name, and get theirs by one rename.
#include "ravd/transfer/file_folder.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include "ravd/firmware/random_id.h"

namespace ravd {

namespace {

// Of a file in the folder itself, whatever the name is.
Descriptor open_inside(int folder, const std::string &name) {
    open_how how = {};
    how.flags = O_PATH | O_CLOEXEC | O_NOFOLLOW;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_XDEV;
    return Descriptor(static_cast<int>(syscall(SYS_openat2, folder, name.c_str(), &how, sizeof how)));
}

}  // namespace

std::string FileFolder::open(const std::string &state_folder) {
    path_ = state_folder + "/files";
    const auto problem = [this] { return path_ + ": " + strerror(errno); };
    if (mkdir(path_.c_str(), 0700) != 0 && errno != EEXIST) return problem();
    folder_.reset(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW));
    if (!folder_) return problem();
    std::error_code failure;
    for (const auto &entry : std::filesystem::directory_iterator(path_, failure))
        if (entry.path().filename().native().starts_with('.')) std::filesystem::remove_all(entry.path(), failure);
    return "";
}

Descriptor FileFolder::create() const {
    return Descriptor(openat(folder_.get(), ".", O_RDWR | O_TMPFILE | O_CLOEXEC, 0600));
}

Fault FileFolder::check(int fd, const std::string &name) const {
    struct stat info = {};
    if (const Descriptor there = open_inside(folder_.get(), name)) {
        if (fstat(there.get(), &info) != 0 || !S_ISREG(info.st_mode)) return {9016, "no plain file has that name", {}};
    } else if (errno != ENOENT) {
        return {9016, strerror(errno), {}};
    }
    if (fstat(fd, &info) != 0) return {9002, strerror(errno), {}};
    uint64_t bytes = static_cast<uint64_t>(info.st_size), count = 1;
    std::error_code failure;
    for (const auto &entry : std::filesystem::directory_iterator(path_, failure)) {
        if (entry.path().filename() == name) continue;
        count++;
        if (fstatat(folder_.get(), entry.path().filename().c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0)
            bytes += static_cast<uint64_t>(info.st_size);
    }
    if (failure) return {9002, failure.message(), {}};
    if (bytes > bytes_ || count > count_) return {9004, "the folder of files is full", {}};
    return {};
}

Fault FileFolder::keep(int fd, const std::string &name) {
    const auto problem = [] { return Fault{9002, strerror(errno), {}}; };
    if (fsync(fd) != 0) return problem();
    const std::lock_guard lock(mutex_);
    if (Fault fault = check(fd, name)) return fault;
    const std::string own = "/proc/self/fd/" + std::to_string(fd), beside = "." + random_id() + ".new";
    if (linkat(AT_FDCWD, own.c_str(), folder_.get(), beside.c_str(), AT_SYMLINK_FOLLOW) != 0) return problem();
    if (renameat(folder_.get(), beside.c_str(), folder_.get(), name.c_str()) != 0) {
        Fault fault = problem();
        unlinkat(folder_.get(), beside.c_str(), 0);
        return fault;
    }
    return fsync(folder_.get()) == 0 ? Fault() : problem();
}

}  // namespace ravd
