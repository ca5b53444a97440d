// What a function of "rv" gives when it fails: nil, a message, and a table with "code", "message" and, where there are
// any, "detail" (a text) and "data" (a table of names and texts).
#pragma once

#include <lua.hpp>

#include "rv/jrpcmsg.h"

namespace rv {

// The codes of failures that no daemon has told: those of JSON-RPC and CWMP that say the same.
enum { invalid_text = -32700, no_such_name = 9005 };

// Pushes the three for an error reply. Returns 3.
int lua_push_failure(lua_State *L, const rv_jrpcmsg *reply);
// For a failure of our own. message is copied.
int lua_push_failure(lua_State *L, int code, const char *message);

}  // namespace rv
