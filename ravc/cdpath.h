// The path record: a place in the data model, and how typed paths are resolved against it.
#pragma once

#include <jansson.h>

enum { CDPATH_MAX = 258 };  // bytes of a path's text

struct cdpath {
    json_t *node;     // the cache object of the place, or null where there is no cache; set through the functions below
    json_t *held;     // the counted reference to node, so that no refetch or event leaves it dangling
    json_t *parents;  // owned array: the objects above node, the nearest first
    bool multi;       // node is a multi-instance object
    bool ordered;     // node is an ordered multi-instance object
    bool allow_input;           // "#input" may be resolved
    bool quiet;                 // for one who is still typing: "-" prints nothing, missing instances are not looked for
    bool wildcard;              // the way led through a "*"
    bool owned;                 // made by cdpath_copy(), freed by cdpath_release()
    char path[CDPATH_MAX + 1];  // dotted, without a leading ":" or a closing "."; empty at the root
};

extern cdpath current_path;
extern cdpath previous_path;

// Makes dst a copy of src and returns it; a null dst is allocated. dst is overwritten, not released. The bits
// wildcard and quiet are not copied.
cdpath *cdpath_copy(cdpath *dst, const cdpath *src);
// Puts p at the root of the cache.
void cdpath_reset(cdpath *p);
// Drops what p holds, and frees it where cdpath_copy() allocated it; p is empty then.
void cdpath_release(cdpath *p);

// Steps down into child, which may be null, under name. Returns 0, or -1 with p unchanged when the text would not fit
// or p's own node is null.
int cdpath_enter(cdpath *p, json_t *child, const char *name, bool multi, bool ordered);

// Walks a typed path from p: names, instance numbers, "<" up, "-" to the previous path (which is printed), "*" into the
// template, a leading ":" from the root. Levels that the cache lacks are fetched. Returns 0; -1 when a step fails, with
// p where the walk stopped; -2 for a null text. Always resolve on a copy.
int cdpath_resolve(cdpath *p, const char *text);

// Puts p where path, a record's text, leads in the present cache. Returns 0, or -1 with p as it was. May not return:
// Ctrl-C can abandon it, and then leaves p as it was.
int cdpath_locate(cdpath *p, const char *path);
