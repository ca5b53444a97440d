// The one output of values: what cat, attributes and trees show.
#pragma once

#include <jansson.h>

// Prints value to standard output, without a newline, by its JSON type; integers in the numeric base that node, the
// value's node in the cache, gives them. node may be null: base 10. An absent value (null) or an object prints nothing.
void print_value(const json_t *value, const json_t *node);

// " = " and the value in the value colour; nothing for an absent value or an object.
void print_value_colored(const json_t *value, const json_t *node);
