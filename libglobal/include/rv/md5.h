// MD5 digests of files. They tell damage in transit, and protect from nobody. Nothing here prints.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct rv_md5 {
    uint8_t bytes[16];
} rv_md5;

enum { RV_MD5_TEXT_SIZE = 33 };  // bytes of a digest as text, the closing zero included

// The digest of length bytes from offset on of the regular file at path; a length of -1 is all up to its end. The file
// is read, never mapped: one that is cut meanwhile ends early. Returns 0; or -1 with errno and the digest untouched:
// no regular file, one that can't be read, or (EINVAL) one that ends before length bytes. It may take long and does not
// wait: where SIGINT is blocked and comes meanwhile it ends with EINTR, the signal still to be let in.
int rv_md5_calculate_from_file_region(const char *path, int64_t offset, int64_t length, rv_md5 *digest);

// Writes the digest as 32 lower-case hexadecimal digits. Returns 0, or -1 when size is less than RV_MD5_TEXT_SIZE.
int rv_md5_to_str(const rv_md5 *digest, char *text, size_t size);

#ifdef __cplusplus
}
#endif
