// The command line: argv into a struct.
#pragma once

#include <jansson.h>
#include <stddef.h>
#include <stdint.h>

// The codes matter: which modes join the group of instance events is told by them (main/startup.cpp).
enum RunMode {
    MODE_INTERACTIVE = 0,
    MODE_RAW = 1,
    MODE_LISTEN = 2,
    MODE_REQUEST = 3,
    MODE_NOTIFY = 4,
    MODE_EVENT = 5,
    MODE_SCRIPT = 6,
    MODE_LUA_SCRIPT = 7
};

// Texts are borrowed from argv unless they are arrays.
struct Options {
    int run_mode = MODE_INTERACTIVE;
    const char *mode_name = "interactive";  // for the message about two modes
    const char *mode_argument = nullptr;    // the method of a request, the name of a notification
    uint32_t event_group = 0;
    const char *script_path = nullptr;
    const char *config_path = nullptr;
    const char *socket_path = nullptr;
    char login[256] = "";
    char password[256] = "";
    bool login_given = false;  // login was not empty; still so when it has been wiped
    uint32_t groups[64] = {};
    size_t group_count = 0;
    bool ssl = false;
    int timeout_seconds = 0;         // 0: not given
    json_t *command_args = nullptr;  // owned: what is left for the mode
};

// Takes in the command line in its order; each option acts at once. Prints usage, version and what is wrong.
// Overwrites the password of -a in argv. Returns -1 to go on, or the exit status to end with at once.
int options_parse(int argc, char **argv, Options *options);

// Wipes login and password, once they have been used.
void options_wipe_credentials(Options *options);

// Wipes the credentials and releases what the options own.
void options_release(Options *options);
