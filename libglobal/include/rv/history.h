// The history of entered lines, which the line editor walks through. One list a process. Nothing here prints.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Appends an entry, which may hold line feeds. The text is copied. The oldest of more than 10,000 entries goes.
void rv_history_add(const char *line);
void rv_history_clear(void);
// Number of entries.
int rv_history_count(void);

// Appends the entries of a history file: one a line, line feeds inside an entry written as carriage returns. Only a
// regular file of at most 4 MiB that belongs to the user, has one name and is writable by nobody else is read; through
// no symbolic link. Returns 0, or -1 when there is no such file.
int rv_history_load(const char *path);

// Writes the last count entries (-1: all; 0: none, an empty file) in the same form: into a new file of mode 0600 that
// then takes the place of path, so that path holds the old text or the new one, and nothing is written through a
// symbolic link. A path that is a device or a FIFO is written directly, without waiting for a reader.
// Returns 0, or -1 with path as it was.
int rv_history_dump(const char *path, int count);

#ifdef __cplusplus
}
#endif
