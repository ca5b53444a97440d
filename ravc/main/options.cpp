// The parser of the command line, with its usage and version texts.
#include "ravc/main/options.h"

#include <algorithm>
#include <iterator>

#include <getopt.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "rv/string.h"

namespace {

enum { GO_ON = -1, END_WELL = 0, END_BADLY = 1 };
enum { OPTION_RAW = 1, OPTION_SSL = 2 };  // options without a letter

constexpr char short_options[] = "c:s?S:r:n:e:g:i:u:a:t:lhv";

constexpr option long_options[] = {
    {"request", required_argument, nullptr, 'r'},    {"notify", required_argument, nullptr, 'n'},
    {"event", required_argument, nullptr, 'e'},      {"raw", required_argument, nullptr, OPTION_RAW},
    {"timeout", required_argument, nullptr, 't'},    {"script", optional_argument, nullptr, 's'},
    {"lua-script", required_argument, nullptr, 'S'}, {"listen", no_argument, nullptr, 'l'},
    {"groups", required_argument, nullptr, 'g'},     {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'v'},          {"ssl", no_argument, nullptr, OPTION_SSL},
    {"unixpath", required_argument, nullptr, 'u'},   {"auth", required_argument, nullptr, 'a'},
    {"config", required_argument, nullptr, 'c'},     {nullptr, 0, nullptr, 0},
};

void print_usage(FILE *stream) {
    fputs("Corvane Management System client.\n", stream);
    fprintf(stream, "Usage: %s [options]\n\n", "ravc");
    fputs("Options:\n", stream);
    fputs("\t-r, --request <name> [<params>]     Proceed request.\n", stream);
    fputs("\t-n, --notify <name> [<params>]      Send notify.\n", stream);
    fputs("\t-e, --event <id> [<params>]         Send event.\n", stream);
    fputs("\t-l, --listen                        Listen for incoming events (specify as -g).\n", stream);
    fputs("\t    --raw <json-msg>                Send raw JSON-RPC message.\n", stream);
    fputs("\t-t  --timeout <seconds>             Timeout for send raw JSON-RPC message\n",
          stream);  // no comma: intended
    fputs("\t-s, --script <path-to-script>       Proceed script file.\n", stream);
    fputs("\t-S, --lua-script <path-to-script>   Proceed Lua script file.\n", stream);
    fputs("\t-g, --groups <gr1>[,<gr2>,..,<grN>] Join selected groups.\n", stream);
    fputs("\t    --ssl                           Use SSL layer.\n", stream);
    fprintf(stream,
            "\t-c, --config <path>                 Path to config file (default is \"$HOME/.local/%s/config\").\n",
            "ravc");
    fprintf(stream, "\t-u, --unixpath <path>               UNIX socket path to connect (default is \"%s\").\n",
            "/var/run/ravd.sock");
    fputs("\t-a  --auth [login:password|token]   Authorization data.\n", stream);  // no comma: intended
    fputs("\t-h, --help                          Print this help message.\n", stream);
    fprintf(stream, "\t-v, --version                       Display %s version.\n", "ravc");
}

void print_version() {
    puts("Corvane Management System client.");
    printf("%s version %s\n", "ravc", RAV_VERSION);
    puts("License GPL-3.0-or-later; there is no warranty.");
}

int fail_with_usage() {
    print_usage(stderr);
    return END_BADLY;
}

// word: what the new mode is called in the message; name: what a later mode's message will call it.
int set_mode(Options *options, int mode, const char *word, const char *name) {
    if (options->run_mode != MODE_INTERACTIVE) {
        fprintf(stderr, "Cannot execute '%s' and '%s' modes simultaneously.\n", word, options->mode_name);
        return END_BADLY;
    }
    options->run_mode = mode;
    options->mode_name = name;
    return GO_ON;
}

int set_request(Options *options, int mode, const char *name) {
    options->mode_argument = optarg;
    return set_mode(options, mode, name, name);
}

int set_event(Options *options) {
    const int status = set_mode(options, MODE_EVENT, "event", "event");
    if (status == GO_ON && rv_string_strntoul(optarg, strlen(optarg), 10, &options->event_group) < 0)
        fputs("Group id must be an integer.\n", stderr);  // and goes on: intended
    return status;
}

// position: of the argument on the command line, for the message.
int append_argument(Options *options, const char *text, int position) {
    if (json_array_append_new(options->command_args, json_string(text)) == 0) return GO_ON;
    fprintf(stderr, "ravc: argument %d is not valid UTF-8\n", position);
    return END_BADLY;
}

int set_raw(Options *options) {
    const int status = set_mode(options, MODE_RAW, "raw", "raw");
    return status == GO_ON ? append_argument(options, optarg, optind - 1) : status;
}

int set_script(Options *options) {
    if (optarg) options->script_path = optarg;
    return set_mode(options, MODE_SCRIPT, "script", "script");
}

int set_lua_script(Options *options) {
    options->script_path = optarg;
    // The message calls this mode "script" when it comes second: intended.
    return set_mode(options, MODE_LUA_SCRIPT, "script", "script-lua");
}

int add_groups(Options *options, const char *list) {
    char *copy = strdup(list);
    int status = GO_ON;
    char *rest = nullptr;
    for (const char *piece = strtok_r(copy, ",", &rest); piece && status == GO_ON;
         piece = strtok_r(nullptr, ",", &rest)) {
        uint32_t group = 0;
        if (options->group_count == std::size(options->groups) ||
            rv_string_strntoul(piece, strlen(piece), 10, &group) < 0) {
            fprintf(stderr, "Invalid group number: '%s'.\n", piece);
            status = END_BADLY;
        } else {
            options->groups[options->group_count++] = group;
        }
    }
    free(copy);
    return status;
}

// "login:password", or a token without ":". What is secret in argument is overwritten, for it shows in the process
// list.
void set_auth(Options *options, char *argument) {
    const size_t login_length = strcspn(argument, ":");
    const char *password = argument[login_length] ? argument + login_length + 1 : "";
    snprintf(options->login, sizeof options->login, "%.*s", static_cast<int>(std::min<size_t>(login_length, 255)),
             argument);
    snprintf(options->password, sizeof options->password, "%s", password);
    memset(argument, '*', strlen(argument));
    options->login_given = options->login[0] != '\0';
}

int set_timeout(Options *options) {
    options->timeout_seconds = static_cast<int>(std::clamp<long>(strtol(optarg, nullptr, 10), INT_MIN, INT_MAX));
    return GO_ON;
}

int apply_option(Options *options, int letter) {
    switch (letter) {
        case 'r':
            return set_request(options, MODE_REQUEST, "request");
        case 'n':
            return set_request(options, MODE_NOTIFY, "notify");
        case 'e':
            return set_event(options);
        case 'l':
            return set_mode(options, MODE_LISTEN, "listen", "listen");
        case OPTION_RAW:
            return set_raw(options);
        case 's':
            return set_script(options);
        case 'S':
            return set_lua_script(options);
        case 'a':
            set_auth(options, optarg);
            return GO_ON;
        case 'g':
            return add_groups(options, optarg);
        case 't':
            return set_timeout(options);
        case 'c':
            options->config_path = optarg;
            return GO_ON;
        case 'u':
            options->socket_path = optarg;
            return GO_ON;
        case OPTION_SSL:
            options->ssl = true;
            return GO_ON;
        case 'h':
            print_usage(stdout);
            return END_WELL;
        case 'v':
            print_version();
            return END_WELL;
        default:
            return fail_with_usage();
    }
}

// The mode that the program's own name chooses. Its name for messages stays "interactive": intended.
int mode_of_invocation(const char *program) {
    const char *slash = strrchr(program, '/');
    const char *base = slash ? slash + 1 : program;
    if (strcmp(base, "ravc_interpreter") == 0) return MODE_SCRIPT;
    if (strcmp(base, "ravc_lua") == 0) return MODE_LUA_SCRIPT;
    return MODE_INTERACTIVE;
}

}  // namespace

int options_parse(int argc, char **argv, Options *options) {
    options->command_args = json_array();
    options->run_mode = mode_of_invocation(argc > 0 ? argv[0] : "");
    optind = 0;
    for (int letter; (letter = getopt_long(argc, argv, short_options, long_options, nullptr)) != -1;) {
        const int status = apply_option(options, letter);
        if (status != GO_ON) return status;
    }
    for (int i = optind; i < argc && options->run_mode != MODE_RAW; i++) {
        const int status = append_argument(options, argv[i], i);
        if (status != GO_ON) return status;
    }
    return GO_ON;
}

void options_wipe_credentials(Options *options) {
    explicit_bzero(options->login, sizeof options->login);
    explicit_bzero(options->password, sizeof options->password);
}

void options_release(Options *options) {
    options_wipe_credentials(options);
    json_decref(options->command_args);
    options->command_args = nullptr;
}
