// The eight run modes.
#pragma once

#include "ravc/main/options.h"

// Runs the mode that the options chose. Returns the program's result, whose low 8 bits are the exit status.
int run_mode(const Options *options);
