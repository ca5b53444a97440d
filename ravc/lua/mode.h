// Lua mode: a loop that reads Lua statements, runs them and prints what they return.
#pragma once

// Reads statements until the user leaves, input ends, the daemon has gone, or a signal asks for an end
// (interrupt_ending()). The shell's history and completion are put away meanwhile, and a recording that runs is ended
// with the mode: its file then holds the statements. Always returns 0; does not return where a statement ends the
// program.
int lua_mode();
