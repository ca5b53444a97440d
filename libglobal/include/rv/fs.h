// Files. Nothing here prints.
#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// Makes the file (mode 0600) where there is none; an existing one keeps its content. It must be one that can be
// written, and is reached through no symbolic link. Returns 0, or -1 with errno.
int rv_fs_touch(const char *path);

// Maps the regular file at path into memory, to be read, and stores its size in bytes. flags and advice (as
// posix_madvise takes it) are 0 for nothing special. Returns the mapping, which rv_fs_munmap_file() ends; an empty file
// has one of no bytes. Null with errno when there is no such file, and for what is no regular file. Bytes that the file
// loses later are gone from the mapping, too: to read them ends the program, to hand them to the system fails there.
const void *rv_fs_mmap_file_adv(const char *path, int flags, size_t *size, int advice);
// Ends a mapping of that size. Takes null.
void rv_fs_munmap_file(const void *mapping, size_t size);

#ifdef __cplusplus
}
#endif
