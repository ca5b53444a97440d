// The shell's history file and the line editor's callbacks.
#pragma once

// Completion in any case, completion and hints as complete.h has them, and the history of the last session.
void shell_history_open();
// Takes the callbacks away, writes the history file and forgets the history. Returns whether it was open; else it does
// nothing.
bool shell_history_close();
