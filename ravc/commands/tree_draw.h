// Trees of values or of the schema, drawn with connectors, one node a line. JSON in, text out.
#pragma once

#include <jansson.h>

// Draws data, an object of nested values or schema nodes, or a single value, under name. schema, the schema node of
// data or null, tells parameters from objects, so that they come first, and the base of their numbers. Objects without
// a value at any depth are left out, "max_instance" comes last, and nothing is drawn below 256 levels.
// Prints to standard output. Takes time linear in the size of data. May not return: Ctrl-C can abandon it between
// lines.
void draw_tree(const json_t *data, const json_t *schema, const char *name);

// The node of schema that stands for key: the member, or "#template" for an instance number. Borrowed, null for none.
json_t *schema_child(const json_t *schema, const char *key);
// Walks the dotted path down from tree and gives the deepest node that was found: borrowed.
json_t *walk_tree(json_t *tree, const char *path);
