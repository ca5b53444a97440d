// The configuration API: values, branches and selections of the data model, read over one connection set once. Every
// operation prints nothing, has the connection's time-out, and is tried once more where it is safe to.
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

// Sends msg and waits for its reply, which replaces it. Results as rv_jrpcapi_exec(); -1 without a connection.
int rv_confapi_exec(rv_jrpcmsg *msg);

// The configuration of the branch at path: an object rooted at the top of the tree, with the way to the branch. A new
// reference, or null when it could not be read. flags is 0.
json_t *_rv_confapi_getconfig_fullpath(const char *path, int flags);

// What a selector selects: an object of full path to configuration, in the model's order. A new reference, or null:
// then rv_confapi_get_last_message() tells why. Both flags are 0.
json_t *rv_confapi_select_new(const char *selector, int flags, int flags2);
// The reply to the last selection, lent until the next one; null when there has been none.
const rv_jrpcmsg *rv_confapi_get_last_message(void);

#ifdef __cplusplus
}
#endif
