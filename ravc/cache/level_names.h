// The names of large levels of the node cache in order, so that neither a key that is typed nor a step of a path looks
// at each of a hundred thousand siblings.
#pragma once

#include <span>

#include <jansson.h>
#include <stdint.h>

struct LevelName {
    uint64_t start;    // the first bytes in lower case, for quick comparison
    const char *name;  // borrowed from the cache, as node is
    json_t *node;
};

// The children of level, a cache object, that begin with prefix in any case, by their names in lower case; reserved
// keys are no children. Valid until another level is asked for. The names of the last few levels that were asked for
// are kept, with a reference to the level.
std::span<const LevelName> level_names(json_t *level, const char *prefix);

// To be called before children of level change; null: all that is kept goes.
void level_names_forget(const json_t *level);
