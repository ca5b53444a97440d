// Asking for a password at the terminal.
#pragma once

// Prints the formatted prompt to standard output, reads a line from standard input without echo, and prints a line
// feed. Returns the line without its line feed, new: to be given to password_free(). At the end of input: "".
// The terminal's modes are put right however this ends. May not return: Ctrl-C can abandon the caller.
__attribute__((format(printf, 1, 2))) char *password_prompt(const char *format, ...);
// Wipes and frees a password. Takes null.
void password_free(char *password);
