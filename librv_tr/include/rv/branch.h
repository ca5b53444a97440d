// Branches of trees that hold a configuration or a data model: nested objects keyed by the elements of dotted names.
#pragma once

#include <jansson.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// The object at path ("Device.IP.Interface.1", a closing "." allowed; empty or "." is root itself) below root, each
// element in its exact spelling. Borrowed; null when there is none.
json_t *rv_conf_find_branch(json_t *root, const char *path);

// Takes the first and the last so many elements off path, in place; a closing "." stays one. Returns 0, or -1 with path
// as it was when it has fewer elements.
int rv_conf_strip_path_adv(char *path, size_t first, size_t last);

#ifdef __cplusplus
}
#endif
