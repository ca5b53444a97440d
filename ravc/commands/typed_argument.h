// Arguments of the form "<path>=<value>", checked against the schema of the node that the path leads to.
#pragma once

#include <jansson.h>

#include "ravc/cdpath.h"

// The path of argument, what stands before its first "=": a new JSON text; *text is what stands behind it, borrowed
// from argument. Prints an echo of both. Null after saying that there is no value.
json_t *split_argument(const char *command, const char *argument, const char **text);

// The value that text stands for at the parameter path, which is resolved on place: a new reference, of the type of the
// parameter's default. Null after saying what was wrong.
json_t *typed_value_at(const char *command, cdpath *place, const char *path, const char *text);
