// Completion and hints: what may stand at the cursor. Nothing here prints; what can't be found out yields fewer
// candidates. Everything here may wait for the daemon, and ends early, with fewer candidates, when SIGINT interrupts.
#pragma once

#include <jansson.h>
#include <stddef.h>
#include <stdint.h>

// Wherever enough is given, nothing more is looked for once out holds that many candidates.

// The line editor's completion: appends to out (borrowed, an array) the candidates for the word at cursor, each the
// whole replacement for that word from its last separator on.
void complete_line(const char *line, size_t cursor, json_t *out);
void complete_line_upto(const char *line, size_t cursor, json_t *out, size_t enough);
// The line editor's hint: a new text that would finish the line's last word, or null.
char *hint_line(const char *line);
// What the line editor tells of a word that is typed in full: a new text of one or more lines, or null. A command's
// usage, or a node's name, type, access and description by one request.
char *describe_line(const char *line);

// Paths from the current path, and parameters' values behind "=". word may be null. flags: LIST_* of list_children.h.
// Out is sorted when paths were looked for; values stand in the schema's order.
void complete_path(const char *word, json_t *out, int flags, size_t enough = SIZE_MAX);
// The same for the arguments of method.
void complete_input(const char *word, json_t *out, const char *method, int flags, size_t enough = SIZE_MAX);
// Local files, or the programs of PATH where files_only is false and index is below 2. word: words[index]. Names that
// hold control characters or are not UTF-8 are left out; of very large folders only the first 100,000 entries are read.
void complete_files(size_t index, const json_t *words, json_t *out, bool files_only, size_t enough = SIZE_MAX);

// The device modes: a new array, or null when the daemon does not tell them.
json_t *device_modes();
