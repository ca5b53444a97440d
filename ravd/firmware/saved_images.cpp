// O_TMPFILE and linkat(): whatever ends a download early leaves nothing.
#include "ravd/firmware/saved_images.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>

#include "ravd/firmware/random_id.h"

namespace ravd {

std::string SavedImages::open(const std::string &state_folder) {
    std::error_code failure;
    path_ = std::filesystem::absolute(state_folder, failure).lexically_normal() / "firmware";
    const auto problem = [this] { return path_ + ": " + strerror(errno); };
    if (mkdir(path_.c_str(), 0700) != 0 && errno != EEXIST) return problem();
    folder_.reset(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW));
    if (!folder_) return problem();
    for (const auto &entry : std::filesystem::directory_iterator(path_, failure))
        std::filesystem::remove_all(entry.path(), failure);
    return "";
}

Descriptor SavedImages::create(std::string &problem) const {
    Descriptor file(openat(folder_.get(), ".", O_RDWR | O_TMPFILE | O_CLOEXEC, 0600));
    if (!file) problem = path_ + ": " + strerror(errno);
    return file;
}

std::string SavedImages::save(int fd, std::string &path) const {
    const std::string name = random_id() + ".img", source = "/proc/self/fd/" + std::to_string(fd);
    if (fsync(fd) != 0 || linkat(AT_FDCWD, source.c_str(), folder_.get(), name.c_str(), AT_SYMLINK_FOLLOW) != 0)
        return path_ + ": " + strerror(errno);
    path = path_ + "/" + name;
    return "";
}

}  // namespace ravd
