// JSON values as text.
#pragma once

#include <jansson.h>

#ifdef __cplusplus
extern "C" {
#endif

// The texts of an array with separator between them: a new text. Elements that are no strings count as empty ones.
char *rv_str_json_join(const json_t *array, const char *separator);

#ifdef __cplusplus
}
#endif
