// Files of one user at names that anybody may know, as in /tmp: read only where nobody else can have put them there,
// written so that nobody else's file is touched. Nothing here prints.
#pragma once

#include <string>
#include <string_view>

#include <stddef.h>

namespace rv {

// A file of more bytes is not read.
constexpr size_t safe_file_limit = size_t{4} << 20;

// Reads the whole of a regular file that belongs to the user, has one name, is writable by nobody else and holds at
// most safe_file_limit bytes; never through a symbolic link, and without waiting for whatever else stands there.
// Returns 0, or -1 with *text as it was.
int safe_file_read(const char *path, std::string *text);

// Puts text in the place of path: a new file of mode 0600 beside it, which is renamed once it is on disk. What path
// named before, a symbolic link too, is replaced and not written. A device or a FIFO at path is written directly: a
// FIFO that nobody reads is an error, and one that takes nothing for a second is given up. Returns 0, or -1 with errno
// and a file at path as it was.
int safe_file_write(const char *path, std::string_view text);

}  // namespace rv
