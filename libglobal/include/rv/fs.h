// Files. Nothing here prints.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Makes the file (mode 0600) where there is none; an existing one keeps its content. It must be one that can be
// written, and is reached through no symbolic link. Returns 0, or -1 with errno.
int rv_fs_touch(const char *path);

#ifdef __cplusplus
}
#endif
