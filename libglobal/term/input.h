// Standard input, byte by byte. Nothing here prints.
#pragma once

#include <stdint.h>

namespace rv {

// Whether standard input and standard output are both a terminal, so that the editor draws.
bool input_is_drawn();
// Whether a byte can be read at once. Only asked of a terminal.
bool input_is_waiting();

enum class Input { ready, timeout, interrupted, failed };
// Waits until a byte, or the end of input, can be read. Signals of the terminal's own (rv::modes_signals()) do not end
// the wait, but where stop_at_signals asks for it.
Input input_wait(int64_t deadline, bool stop_at_signals);

}  // namespace rv
