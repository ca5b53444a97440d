// Lua scripts: files that run without a terminal.
#pragma once

#include <jansson.h>

// Runs the script at path with the texts of arguments; for a null path the first of them is the path, and is taken out.
// Prints what the script printed or, when it failed, only why; "Cannot open script file …" when it can't be read.
// Returns 0, -1 when there was nothing to run, or what the script gave os.exit(). Ctrl-C ends the program.
int run_lua_script(const char *path, json_t *arguments);
