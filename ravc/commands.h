// The command table: every command of the shell, of scripts and of one-shot requests is one of its rows.
#pragma once

#include <span>

#include <jansson.h>
#include <stdint.h>

using command_handler = int (*)(const char *name, json_t *args);

struct command_row {
    const char *name;
    const char *method;  // the daemon's method that the command stands for, or null
    int cmd_id;          // rows that are one command under two names share it
    uint32_t name_hash;
    uint32_t method_hash;
    command_handler handler;         // by name: shell, start-up script
    command_handler method_handler;  // by method: one-shot requests, scripts; null where it can't be called that way
    const char *usage;               // for help, or null
    const char *help;
};

// All rows, in the order that decides between equal methods.
std::span<const command_row> command_table();

// The row of a command by its name or by its method, the first that matches; "?" is help. Null when there is none.
const command_row *command_lookup(const char *name);

// Run a command with its arguments (an array of strings, borrowed). Return the handler's result, or -1 after printing
// that there is no such command resp. method. By name the handler is given the row's own name, by method the name as it
// was passed in.
int dispatch_by_name(const char *name, json_t *args);
int dispatch_by_method(const char *name, json_t *args);
