// What help shows of a command table.
#pragma once

#include <span>

#include "ravc/commands.h"

// Prints a line for each of rows that has both a usage and a help text, sorted by name, the usages padded to the
// longest of them; or that there is no help, when no row has both.
void help_show(std::span<const command_row> rows);
