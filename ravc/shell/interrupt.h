// Ctrl-C. SIGINT stays blocked in the main thread and is let in only while the library waits (rv/wait.h): the handler
// jumps out of a wait or not at all. This is the only file with a jump.
#pragma once

// Blocks SIGINT from here on; for the interactive shell, before its first wait that must not end the program. From here
// on SIGHUP and SIGTERM, unless they are ignored, end the shell in good order: they are noted, and abandon a command or
// end the present wait as SIGINT does.
void interrupt_init();

// Puts the idle handler in place: a SIGINT ends the present wait and is noted.
void interrupt_idle();
// Whether a SIGINT was noted since the last call.
bool interrupt_taken();
// SIGHUP or SIGTERM once one was noted, else 0.
int interrupt_ending();

// Runs command(context) so that Ctrl-C abandons it: then what its frames held stays as it is, no destructor runs.
// Returns true when it ran to its end, false when it was abandoned. SIGINT has its default action afterwards, and one
// that is still pending is used up. Does nothing and returns true while a command runs already.
bool run_command(void (*command)(void *context), void *context);

// Whether a SIGINT waits to be let in. For long loops without a wait, which then end early and release what they hold:
// it takes effect in the next wait, or is used up when the command ends. False wherever SIGINT is not blocked.
bool interrupt_pending();
