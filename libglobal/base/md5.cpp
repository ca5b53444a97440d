// MD5 of what is read from a file.
#include "rv/md5.h"

#include <algorithm>

#include <errno.h>
#include <md5.h>
#include <stdio.h>
#include <unistd.h>

#include "libglobal/base/open_regular.h"
#include "rv/wait.h"

namespace {

// Feeds length bytes, -1 for all there are. Returns 0, or -1 with errno.
int digest_from(int fd, int64_t length, MD5_CTX *context) {
    uint8_t buffer[65536];
    while (length != 0) {
        if (rv_interrupt_pending()) {
            errno = EINTR;
            return -1;
        }
        const size_t wanted =
            length < 0 ? sizeof buffer : static_cast<size_t>(std::min<int64_t>(length, sizeof buffer));
        const ssize_t got = read(fd, buffer, wanted);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return -1;
        if (got == 0) break;
        MD5Update(context, buffer, static_cast<size_t>(got));
        if (length > 0) length -= got;
    }
    if (length <= 0) return 0;
    errno = EINVAL;
    return -1;
}

}  // namespace

int rv_md5_calculate_from_file_region(const char *path, int64_t offset, int64_t length, rv_md5 *digest) {
    const int fd = rv::open_regular(path, nullptr);
    if (fd < 0) return -1;
    MD5_CTX context;
    MD5Init(&context);
    const int result = lseek(fd, offset, SEEK_SET) < 0 ? -1 : digest_from(fd, length, &context);
    const int error = errno;
    close(fd);
    errno = error;
    if (result == 0) MD5Final(digest->bytes, &context);
    return result;
}

int rv_md5_to_str(const rv_md5 *digest, char *text, size_t size) {
    if (size < RV_MD5_TEXT_SIZE) return -1;
    for (size_t i = 0; i < sizeof digest->bytes; i++) snprintf(text + 2 * i, 3, "%02x", digest->bytes[i]);
    return 0;
}
