// The children of a place in the data model: what ls shows and completion offers.
#pragma once

#include <jansson.h>
#include <stdint.h>

#include "ravc/cdpath.h"

enum {
    LIST_OBJECTS = 1,    // leave parameters out
    LIST_DOTS = 2,       // append "." to what is no parameter, unless it ends in one
    LIST_ABSOLUTE = 4,   // put ":" in front
    LIST_FILTER = 8,     // prefix is a filter: only children that begin with it, in any case
    LIST_WRITABLE = 16,  // leave read-only parameters out
};

// The children of place as a new array of strings, in the cache's order, filtered ones in any; the level is fetched
// where it has not been yet, or in vain. prefix, where given and no filter, stands in front of each, followed by ".".
// Nothing more is looked for once there are enough. Prints nothing.
json_t *list_children(cdpath *place, const char *prefix, int options, size_t enough = SIZE_MAX);
