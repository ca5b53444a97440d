// Event groups that scripts join, and the events that come of them.
#pragma once

#include "libglobal/lua/context.h"
#include "libglobal/lua/request.h"

namespace rv {

// Whether events of the group come already: the script or the program has joined it.
bool lua_has_joined(const rv_lua &context, uint32_t group);
// Joins it where nobody has. Returns false with the three values of a failure pushed.
bool lua_join(lua_State *L, uint32_t group);
// Leaves it where the script has joined it, and drops its events that wait. Waits a second at most; its outcome is not
// told.
void lua_leave(rv_lua &context, uint32_t group);
// Leaves all of them, and gives back to the program what is the program's.
void lua_leave_all(rv_lua &context);

// The next event of one of the groups, null when there is none by the deadline or the connection fails. Raises the
// error that stops the script.
Message lua_next_event(lua_State *L, const std::vector<uint32_t> &groups, int64_t deadline);
// What an event tells, null where it tells nothing. Lent.
const json_t *lua_event_params(const Message &event);
// Calls the function that is set for the event's group, if one is. Returns whether it gave a true value.
bool lua_hand_over(lua_State *L, const Message &event);

// The deadline that the argument at index, seconds, tells; none where it is absent.
int64_t lua_deadline_argument(lua_State *L, int index);

}  // namespace rv
