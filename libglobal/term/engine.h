// readline itself: started at the first line that is edited, and fed with keys that were read elsewhere.
#pragma once

#include <string_view>

namespace rv {

// Starts readline, once: its variables, the keys (bindings.h), the user's own inputrc, drawing (draw.h). Prints
// nothing.
void engine_start();

// Begins a line, which ends in a call of done: with the line (new), or null at Ctrl-D.
void engine_begin(void (*done)(char *line));
// Applies a key: a whole character or sequence.
void engine_take(std::string_view key);
// Ends the line, a search and a half key sequence; done is called. Only what readline has of it is changed.
void engine_drop();

// Whether Escape is a key of its own, as it is among vi's keys.
bool engine_acts_on_escape();

}  // namespace rv
