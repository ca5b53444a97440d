// The node cache: what the shell has learned of the daemon's data model, level by level, in one JSON tree.
//
// An object of the tree stands for a node. Its members are its children by name, and the reserved keys "#attr" (the
// attributes as the daemon gave them), "#template" (the schema of a multi-instance object's instances), "#input" (a
// method's arguments) and "#fetched" (true: this level has been asked for).
#pragma once

#include <jansson.h>

#include "ravc/cdpath.h"

extern json_t *node_cache_root;  // null while there is no cache; owned here

// Fetches the level of p's node and merges it into the node, which keeps its identity (a null one is made); a
// multi-instance object's instances come with everything below them. The root's parameter "DataModelVersion" is left
// out where there is a cache. A request that fails leaves the level empty: see node_cache_failed(); one that
// a signal interrupts leaves the node as it was. Returns 0. Prints
// nothing. May not return: Ctrl-C can abandon it, and then leaves the node as it was.
int node_cache_fetch(cdpath *p);

// The cache object of the child name of p's node, fetched where needed: borrowed, null when there is none. An instance
// number that the daemon does not have gives the template; it is looked for anew each time, but where p is quiet.
json_t *cdpath_child(cdpath *p, const char *name);

// Whether fetching p's level has failed: it is fetched again when it is needed next.
bool node_cache_failed(const cdpath *p);

// Whether node is a parameter. The pseudo-parameter of ordered objects has no attributes and is known by its name: the
// last element of path, "order".
bool node_cache_is_parameter(const char *path, const json_t *node);

// Replaces "#info" by "#attr" in object and everything below it. Attributes that model, a node of the same kind, has an
// equal of are shared with it, and those of instances among each other; model may be null.
void node_cache_absorb_info(json_t *object, const json_t *model);

// Drops the cache and starts it anew at the root level; puts the current path there, and the previous path where its
// text still leads, else there too. May not return: Ctrl-C can abandon it, and then both paths are at the new root.
void node_cache_rebuild();
// Drops the cache.
void node_cache_release();
