// The command handlers, grouped by the file that holds them. Each takes the command name (for its messages) and the
// words after it as a JSON array of strings, both borrowed, prints its own messages to standard output and returns 0,
// or a negative value on failure.
#pragma once

#include <jansson.h>

// commands/cat.cpp: "cat" and "get"; always 0.
int process_cat(const char *name, json_t *args);
