// Files mapped into memory.
#include <cstdint>

#include <errno.h>
#include <sys/mman.h>
#include <unistd.h>

#include "libglobal/base/open_regular.h"
#include "rv/fs.h"

namespace {

constexpr char no_bytes[1] = {};  // the system maps no empty file

const void *map(int fd, size_t size, int flags, int advice) {
    if (size == 0) return no_bytes;
    void *mapping = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | flags, fd, 0);
    if (mapping == MAP_FAILED) return nullptr;
    if (advice) posix_madvise(mapping, size, advice);
    return mapping;
}

}  // namespace

const void *rv_fs_mmap_file_adv(const char *path, int flags, size_t *size, int advice) {
    struct stat info;
    const int fd = rv::open_regular(path, &info);
    if (fd < 0) return nullptr;
    const auto bytes = static_cast<uint64_t>(info.st_size);
    const bool fits = bytes <= PTRDIFF_MAX;
    const void *mapping = fits ? map(fd, static_cast<size_t>(bytes), flags, advice) : nullptr;
    const int error = fits ? errno : EFBIG;
    close(fd);
    errno = error;
    if (mapping) *size = static_cast<size_t>(bytes);
    return mapping;
}

void rv_fs_munmap_file(const void *mapping, size_t size) {
    if (mapping && size > 0) munmap(const_cast<void *>(mapping), size);
}
