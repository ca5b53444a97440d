// Telling URLs from names of files. Nothing here prints.
#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// The parts of "scheme://rest", as borrowed pieces of the text that was parsed.
typedef struct rv_url {
    const char *scheme;
    size_t scheme_length;
    const char *rest;
    size_t rest_length;
} rv_url;

// Reads the first length bytes of text. Returns 1 and fills *url when they are a URL: a scheme that is a letter and
// then letters, digits, "+", "-" and ".", then "://", then at least one byte. Else returns 0 and leaves *url as it was.
int rv_url_parse_mem(rv_url *url, const char *text, size_t length);

#ifdef __cplusplus
}
#endif
