// Typed values from text.
#pragma once

#include <jansson.h>

// The value that text stands for where a value of the JSON type is wanted: a new reference, or null when the text does
// not fit. Integers are 32 bits, signed or unsigned, decimal, "0x" hexadecimal or "0" octal; true and false stand for
// booleans in any case, whichever of the two is asked for. Prints nothing.
json_t *parse_typed_value(const char *text, json_type type);
