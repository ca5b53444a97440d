// The configuration API: single values of the data model, read over one connection set once.
#pragma once

#include "rv/jrpcapi.h"

#ifdef __cplusplus
extern "C" {
#endif

// The connection that the operations below use; borrowed, null for none.
void rv_confapi_set_ctx(rv_jrpcapi *c);

// The value of one parameter: a new reference, or null when it could not be read. Prints nothing.
json_t *rv_confapi_getconfig(const char *path);

#ifdef __cplusplus
}
#endif
