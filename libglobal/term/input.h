// Standard input, byte by byte. Nothing here prints.
#pragma once

#include <stdint.h>

namespace rv {

// Whether standard input and standard output are both a terminal, so that the editor draws.
bool input_is_drawn();
// Whether a byte can be read at once. Only asked of a terminal.
bool input_is_waiting();

enum class Input { ready, timeout, interrupted, redraw, failed };
// Waits until a byte, or the end of input, can be read. A signal of the terminal's own (modes.h) ends the wait with
// redraw where one is wanted, else not at all; any other with interrupted.
Input input_wait(int64_t deadline, bool wants_redraw);

}  // namespace rv
