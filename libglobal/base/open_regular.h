// Opening files that somebody named. Nothing here prints.
#pragma once

#include <sys/stat.h>

namespace rv {

// Opens the regular file at path to be read, and tells in *info (which may be null) what it is. Never waits: anything
// else that has the name, a FIFO say, is refused. Returns a descriptor that children don't inherit, or -1 with errno
// (EISDIR for a folder, EINVAL for the rest).
int open_regular(const char *path, struct stat *info);

}  // namespace rv
