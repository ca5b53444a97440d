// The one answer of what is still to come.
#include "ravc/unbuilt.h"

#include <stdio.h>

int unbuilt(const char *what) {
    fprintf(stderr, "ravc: %s: not built yet\n", what);
    return 1;
}

int unbuilt_command(const char *name, json_t *) {
    unbuilt(name);
    return -1;
}
