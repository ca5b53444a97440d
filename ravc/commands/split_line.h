// Cutting a typed line into words.
#pragma once

#include <jansson.h>

// The words of line as a new JSON array of strings; null for a null line. Single and double quotes group, a backslash
// protects quotes, backslashes and "#", and "#" outside of quotes begins a comment; an unclosed quote ends with the
// line. A word that is not valid UTF-8 is left out. Prints nothing.
// With cursor >= 0 and words_before given, *words_before becomes the number of word ends that stand before the byte
// offset cursor: which word the cursor is in.
json_t *split_line(const char *line, int cursor, int *words_before);
