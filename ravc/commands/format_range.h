// Ranges as ls shows them.
#pragma once

#include <string>

#include <jansson.h>

enum RangeKind { RANGE_LENGTH = 0, RANGE_VALUE = 1 };

// Appends a range to text: "[low:high]" for values, "(low:high)" for lengths; low and high are JSON integers, shown as
// 32 bits signed, or null where absent. A length with one bound is "(bound)", whichever it is.
void format_range(RangeKind kind, const json_t *low, const json_t *high, std::string *text);
