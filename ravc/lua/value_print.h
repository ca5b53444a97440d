// Lua values as text: scalars in Lua's syntax, tables as indented constructors that fit a line width. One printer a
// process, which is not re-entrant: it appends to one buffer, which whoever prints it starts anew.
#pragma once

#include <string>
#include <string_view>

#include "ravc/lua/lua.h"

// The text built so far; borrowed until the next call.
const std::string &lua_printed();
// Begins a text: nothing is printed yet, and tables that are being printed are those of a new table in the registry.
// Raises Lua's memory error.
void lua_print_begin(lua_State *L, int line_width);
// Gives that table back. To be called after each begin, also when printing was left by an error.
void lua_print_end(lua_State *L);

// Appends the text of the value at index. Leaves the stack as it was. Metamethods are called, so it raises what they
// raise (but for errors of "__tostring", which are printed) and belongs inside of a protected call.
void lua_value_print(lua_State *L, int index);

// The columns that a text takes: its bytes, but for escape sequences, from ESC to the next "m".
int visible_width(std::string_view text);
