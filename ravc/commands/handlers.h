// The command handlers, grouped by the file that holds them. Each takes the command name (for its messages) and the
// words after it as a JSON array of strings, both borrowed, prints its own messages to standard output and returns 0,
// or a negative value on failure.
#pragma once

#include <jansson.h>

// commands/cat.cpp: "cat" and "get"; always 0.
int process_cat(const char *name, json_t *args);

// commands/cd.cpp: -2 for a path that leads nowhere.
int process_cd(const char *name, json_t *args);
int process_up(const char *name, json_t *args);

// commands/ls.cpp: takes its options out of args. Without a node cache paths go out as typed, and the long form of one
// that the daemon does not have is an empty table with result 0.
int process_ls(const char *name, json_t *args);

// commands/set.cpp: 0 once a request was sent. The request is a raw one under any other name than "set".
int process_set(const char *name, json_t *args);
// The pairs of "<path>=<value>" arguments as a new array of {"Name", "Value"}; null, after saying so, when none was
// accepted. Prints an echo of each pair, and why those left out were.
json_t *parse_set_args(const char *command, json_t *args);

// commands/instances.cpp: add gives the number of the new instance, 0 when the daemon made none.
int process_add(const char *name, json_t *args);
int process_take(const char *name, json_t *args);
int process_del(const char *name, json_t *args);
int process_order(const char *name, json_t *args);

// commands/attr.cpp: by name for paths of the shell, by method for names as the daemon knows them. By name, a node
// whose attributes neither the daemon gives nor the cache knows shows as a sheet that can't be read, with result 0.
int process_attr(const char *name, json_t *args);
int process_attr_by_method(const char *name, json_t *args);

// commands/login.cpp: login_if_guest is always 0.
int process_login(const char *name, json_t *args);
int process_logout(const char *name, json_t *args);
int process_login_if_guest(const char *name, json_t *args);

// commands/screen.cpp: always 0.
int process_clear(const char *name, json_t *args);
int process_pwd(const char *name, json_t *args);

// commands/color.cpp
int process_color(const char *name, json_t *args);

// shell/help.cpp: always 0.
int process_help(const char *name, json_t *args);

// shell/opt.cpp
int process_opt(const char *name, json_t *args);

// commands/lua.cpp: lua is always 0, and does not return where a statement ends the program.
int process_lua(const char *name, json_t *args);
int process_luarecord(const char *name, json_t *args);

// shell/record.cpp
int process_record(const char *name, json_t *args);

// commands/tree.cpp: catree and tree are always 0.
int process_catree(const char *name, json_t *args);
int process_tree(const char *name, json_t *args);
int process_select(const char *name, json_t *args);

// commands/execute.cpp: 0 when the method gave output.
int process_execute(const char *name, json_t *args);

// commands/download.cpp: a firmware upgrade that goes as far as being watched ends the process with exit status 0.
// upgrade puts the file type in front of args.
int process_download(const char *name, json_t *args);
int process_upgrade(const char *name, json_t *args);

// commands/device.cpp: reset (null args: without any), save, sh, and debug once it was sent are 0.
int process_reboot(const char *name, json_t *args);
int process_reset(const char *name, json_t *args);
int process_save(const char *name, json_t *args);
int process_upload(const char *name, json_t *args);
int process_debug(const char *name, json_t *args);
int process_sh(const char *name, json_t *args);
