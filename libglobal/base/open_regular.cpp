// Opening files that somebody named: what counts is what the descriptor is, not what the name was a moment before.
#include "libglobal/base/open_regular.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

int rv::open_regular(const char *path, struct stat *info) {
    struct stat found = {};
    const int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) return -1;
    const bool is_known = fstat(fd, &found) == 0;
    if (is_known && S_ISREG(found.st_mode)) {
        if (info) *info = found;
        return fd;
    }
    const int error = !is_known ? errno : S_ISDIR(found.st_mode) ? EISDIR : EINVAL;
    close(fd);
    errno = error;
    return -1;
}
