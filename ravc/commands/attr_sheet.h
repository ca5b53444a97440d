// Attribute objects as a sheet of labelled lines: the one place where they are laid out as text.
#pragma once

#include <jansson.h>

// Prints the sheet of attributes, an object as the daemon gives it, or null, under the node's canonical path (without
// its leading ":"). node is handed on to the value printer; may be null. A line is printed for each member that is
// there, whatever its value; an object without a type gets a line that says what is wrong first.
void print_attr_sheet(const char *path, const json_t *node, json_t *attributes);
