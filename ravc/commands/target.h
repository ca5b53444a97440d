// What a command's path argument leads to: a copy of the current path, resolved, and the name it is asked for by.
#pragma once

#include "ravc/cdpath.h"

// A path record released at the end of its scope.
void target_release(cdpath *target);
#define target_auto_t __attribute__((cleanup(target_release))) cdpath

// A copy of the current path.
cdpath target_here();

// Resolves text on target where there is a cache; a null text stays where target is. Returns 0, or -1 when it leads
// nowhere. Prints nothing but what "-" prints.
int target_resolve(cdpath *target, const char *text);

// Whether the target is a parameter (not an object, a method, or the root).
bool target_is_parameter(const cdpath *target);

// Room for a path's text and a closing ".".
struct TargetName {
    char text[CDPATH_MAX + 2];
};
// The resolved text with "." appended; "." alone at the root.
TargetName target_object_name(const cdpath *target);

// The attributes that the daemon has for the node of that name now: a new reference, or null. timeout_ms: milliseconds,
// -1 = no limit. May not return: Ctrl-C can abandon the caller while this waits.
json_t *fetch_node_attributes(const char *name, int timeout_ms);
