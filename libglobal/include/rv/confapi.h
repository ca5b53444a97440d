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

// A read that fails is reported to the log's sink (rv/log.h), which is none unless a program sets one. on 1: the next
// read alone is not reported; 0 takes that back.
void rv_confapi_ignore_next_error_exec(int on);

#ifdef __cplusplus
}
#endif
