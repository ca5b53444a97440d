// Events that arrive while the shell waits for keys.
#pragma once

#include "rv/rl.h"

// Sets the events connection up so that nothing here ever waits for the rest of a message.
void events_init();

// Takes in messages that have arrived, at most a hundred, for keys have their turn too. An instance's coming or going
// is noted for the node cache, a keep-alive dropped; any other event is printed, and the editor's line, with the
// prompt, is taken off the screen before and drawn again behind it. Returns 0, or -1 when the connection has ended;
// that is not told.
int events_receive(rv_rl_async *editor);
