// Command scripts: text files of shell command lines that run without a terminal.
#pragma once

#include <stdio.h>

// Runs the script at path, or standard input for a null path, line by line until one of its commands fails.
// by_name: commands are found as in the shell; else by method, as in one-shot requests.
// Prints what the commands print, and "Cannot open script file …" when there is none to read.
// Returns the result of the last command run: 0 when none ran, negative for the one that ended the script.
int run_script(const char *path, bool by_name);

// The same with the script's lines read from file, which is borrowed and not yet read from. What was read is wiped.
int run_script_lines(FILE *file, bool by_name);
