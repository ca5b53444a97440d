// The terminal: columns of names. Everything goes to standard output through stdio.
#pragma once

#include <jansson.h>

#ifdef __cplusplus
extern "C" {
#endif

// Shows an array of strings in columns that fit the terminal, sorted down the columns as given; one a line where
// standard output is no terminal. Prints nothing for an empty array.
void rv_rl_show_list(const json_t *list);

// Sorts an array of strings byte-wise, ascending where ascending is 1, else descending. Elements that are no strings
// sort as empty texts.
void rv_qsort_json(json_t *list, int ascending);

#ifdef __cplusplus
}
#endif
