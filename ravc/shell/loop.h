// The interactive shell.
#pragma once

// Greets, logs in, fetches the root of the data model, and reads and runs lines until the user leaves, the events
// connection drops, or a signal asks for an end (interrupt_ending()); events are shown as they arrive. The history and
// a recording that runs are written, whichever way the shell is left. Returns 0, or -1 when the session could not be
// set up.
int interactive_loop();

// Cleared when the daemon has gone: every loop of the shell ends then.
extern bool running;
