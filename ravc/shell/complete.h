// Completion and hints: what may stand at the cursor. Nothing here prints; what can't be found out yields fewer
// candidates. Everything here may wait for the daemon, and ends early, with fewer candidates, when SIGINT interrupts.
#pragma once

#include <jansson.h>
#include <stddef.h>

// The line editor's completion: appends to out (borrowed, an array) the candidates for the word at cursor, each the
// whole replacement for that word from its last separator on.
void complete_line(const char *line, size_t cursor, json_t *out);
// The line editor's hint: a new text that would finish the line's last word, or null.
char *hint_line(const char *line);

// Paths from the current path, and parameters' values behind "=". word may be null. flags: LIST_* of list_children.h.
void complete_path(const char *word, json_t *out, int flags);
// The same for the arguments of method.
void complete_input(const char *word, json_t *out, const char *method, int flags);
// Local files, or the programs of PATH where files_only is false and index is below 2. word: words[index].
void complete_files(size_t index, const json_t *words, json_t *out, bool files_only);

// The device modes: a new array, or null when the daemon does not tell them.
json_t *device_modes();
