// Reading and writing files at well-known names. What counts is what the open descriptor is, not what the name was a
// moment before: so a file is opened first and looked at then, and a new one takes its name by rename().
#include "libglobal/base/safe_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "rv/fs.h"
#include "rv/wait.h"

namespace {

constexpr int write_patience_ms = 1000;

bool is_private_file(int fd) {
    struct stat info;
    return fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_uid == geteuid() && info.st_nlink == 1 &&
           (info.st_mode & (S_IWGRP | S_IWOTH)) == 0 && info.st_size <= static_cast<off_t>(rv::safe_file_limit);
}

int read_all(int fd, std::string *text) {
    std::string read_text;
    char buffer[16384];
    for (;;) {
        const ssize_t got = read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return -1;
        if (got == 0) break;
        read_text.append(buffer, static_cast<size_t>(got));
        if (read_text.size() > rv::safe_file_limit) return -1;
    }
    text->swap(read_text);
    return 0;
}

// Only a device or a FIFO ever makes this wait.
int write_all(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t taken = write(fd, text.data(), text.size());
        if (taken >= 0) {
            text.remove_prefix(static_cast<size_t>(taken));
        } else if (errno == EAGAIN) {
            pollfd p{.fd = fd, .events = POLLOUT, .revents = 0};
            if (rv_wait(&p, 1, rv_deadline(write_patience_ms)) <= 0) return -1;
        } else if (errno != EINTR) {
            return -1;
        }
    }
    return 0;
}

int write_directly(const char *path, std::string_view text) {
    const int fd = open(path, O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) return -1;
    const int result = write_all(fd, text);
    const int error = errno;
    close(fd);
    errno = error;
    return result;
}

// The name does not depend on path's own, which may be as long as a name can be.
std::string temporary_beside(const char *path) {
    const std::string_view whole(path);
    const size_t slash = whole.rfind('/');
    return std::string(slash == std::string_view::npos ? "" : whole.substr(0, slash + 1)) + ".rv-XXXXXX";
}

int replace(const char *path, std::string_view text) {
    std::string name = temporary_beside(path);
    const int fd = mkostemp(name.data(), O_CLOEXEC);
    if (fd < 0) return -1;
    int result = write_all(fd, text) == 0 && fsync(fd) == 0 ? 0 : -1;
    int error = errno;
    if (close(fd) < 0 && result == 0) {
        result = -1;
        error = errno;
    }
    if (result == 0 && rename(name.c_str(), path) < 0) {
        result = -1;
        error = errno;
    }
    if (result < 0) unlink(name.c_str());
    errno = error;
    return result;
}

bool is_stream(mode_t mode) {
    return S_ISCHR(mode) || S_ISBLK(mode) || S_ISFIFO(mode);
}

}  // namespace

int rv::safe_file_read(const char *path, std::string *text) {
    const int fd = open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) return -1;
    const int result = is_private_file(fd) ? read_all(fd, text) : -1;
    close(fd);
    return result;
}

int rv::safe_file_write(const char *path, std::string_view text) {
    struct stat info;
    if (lstat(path, &info) == 0 && is_stream(info.st_mode)) return write_directly(path, text);
    return replace(path, text);
}

// What exists is not opened: a FIFO's reader would see an end of file.
int rv_fs_touch(const char *path) {
    const int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (fd >= 0) return close(fd);
    if (errno != EEXIST) return -1;
    struct stat info;
    if (lstat(path, &info) < 0) return -1;
    if (S_ISREG(info.st_mode) || is_stream(info.st_mode)) return faccessat(AT_FDCWD, path, W_OK, AT_EACCESS);
    errno = S_ISLNK(info.st_mode) ? ELOOP : S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
    return -1;
}
