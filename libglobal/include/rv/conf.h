// Paths of the configuration as text. Nothing here prints.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

enum { RV_CONF_PATH_SIZE = 257 };  // bytes of a path's buffer, the closing zero included

// Puts path into out, RV_CONF_PATH_SIZE bytes, in its shortest form: without empty elements, so without a closing ".",
// and with every "<" of an element that holds nothing else taking away the element before it. Above the root is the
// root: "". flags is 0. Returns 0, or -1 with "" in out when the result does not fit.
int rv_conf_path_canonize(int flags, const char *path, char *out);

#ifdef __cplusplus
}
#endif
