// What ravc does not have yet, said in one place. Whatever is built goes from here; at the end so do these files.
#pragma once

#include <jansson.h>

// Says on standard error that what is not built yet. Returns 1, the exit status of a mode that is missing.
int unbuilt(const char *what);

// The handler of every command row whose own is still to come: says so on standard error. Returns -1.
int unbuilt_command(const char *name, json_t *args);
