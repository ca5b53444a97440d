// Requests of scripts: sent on the context's connection, without limit of time. Ctrl-C ends the wait and the script.
#pragma once

#include <lua.hpp>
#include <memory>
#include <string>

#include "libglobal/lua/json.h"
#include "rv/jrpcapi.h"

namespace rv {

struct MessageRelease {
    void operator()(rv_jrpcmsg *message) const { rv_jrpcmsg_free(message); }
};
using Message = std::unique_ptr<rv_jrpcmsg, MessageRelease>;

// Sets a connection's time-out for a scope.
class TimeoutScope {
 public:
    TimeoutScope(rv_jrpcapi *c, int ms) : c_(c), before_(rv_jrpcapi_get_timeout(c)) { rv_jrpcapi_set_timeout(c, ms); }
    ~TimeoutScope() { rv_jrpcapi_set_timeout(c_, before_); }
    TimeoutScope(const TimeoutScope &) = delete;
    TimeoutScope &operator=(const TimeoutScope &) = delete;

 private:
    rv_jrpcapi *const c_;
    const int before_;
};

// Sends the request in message, which its reply replaces. Returns the result, lent by message; or null, with the three
// values of a failure pushed. Raises an error when the script is stopped. A null message is one whose texts are not
// UTF-8.
const json_t *lua_request(lua_State *L, const Message &message);
// The same on this connection, which may be null.
const json_t *lua_request(lua_State *L, rv_jrpcapi *connection, const Message &message);
// The same, and the member of the result that has this name.
const json_t *lua_request(lua_State *L, const Message &message, const char *member);

// The table at index, {name = value, …}, as [{"Name", "Value"}, …] by name, each name behind prefix.
Json lua_to_pairs(lua_State *L, int index, const std::string &prefix);

// What an entry of a reply calls itself, "" where it doesn't. Lent.
const char *lua_entry_name(const json_t *entry);

// The path that argument index is, closed with a dot.
std::string lua_object_argument(lua_State *L, int index);

}  // namespace rv
