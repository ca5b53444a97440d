// Hints: what the one candidate there is would add to what is typed.
#include <string.h>

#include "ravc/shell/complete.h"

namespace {

// The character behind the last c in line, or null.
const char *behind_last(const char *line, char c) {
    const char *found = strrchr(line, c);
    return found ? found + 1 : nullptr;
}

const char *later(const char *a, const char *b) {
    return !a || (b && b > a) ? b : a;
}

// Where the part of the last word begins that a candidate replaces.
const char *typed_part(const char *line) {
    const char *sign = behind_last(line, '=');
    if (sign && *sign == '"') sign++;
    const char *slash = behind_last(line, '/');
    const char *start = later(slash ? slash : later(behind_last(line, '.'), sign), behind_last(line, ' '));
    return start ? start : line;
}

// What candidate holds behind its first length bytes; all of it when it has not that many.
const char *behind(const char *candidate, size_t length) {
    if (strlen(candidate) < length) return candidate;
    const char *rest = candidate + length;
    while ((*rest & 0xc0) == 0x80) rest++;  // never the rest of a character
    return rest;
}

}  // namespace

char *hint_line(const char *line) {
    if (!line || !*line) return nullptr;
    json_auto_t *candidates = json_array();
    complete_line_upto(line, strlen(line), candidates, 2);
    if (json_array_size(candidates) != 1) return nullptr;
    return strdup(behind(json_string_value(json_array_get(candidates, 0)), strlen(typed_part(line))));
}
