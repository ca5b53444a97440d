// What each run mode does.
#include "ravc/main/modes.h"

#include <algorithm>

#include <limits.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

#include "ravc/commands.h"
#include "ravc/daemon/connections.h"
#include "ravc/daemon/request.h"
#include "ravc/lua/script.h"
#include "ravc/main/session.h"
#include "ravc/shell/interrupt.h"
#include "ravc/shell/loop.h"
#include "ravc/shell/script.h"
#include "rv/wait.h"

namespace {

const char *first_argument(const Options *options) {
    return json_string_value(json_array_get(options->command_args, 0));
}

// The first argument as JSON: a new reference, or null when there is none or it is none.
json_t *first_argument_json(const Options *options) {
    const char *text = first_argument(options);
    return text ? json_loads(text, 0, nullptr) : nullptr;
}

int send_timeout_ms(const Options *options) {
    if (options->timeout_seconds == 0) return REST_TIMEOUT_MS;
    return static_cast<int>(std::clamp<int64_t>(int64_t{options->timeout_seconds} * 1000, INT_MIN, INT_MAX));
}

int run_interactive(const Options *) {
    const int result = interactive_loop();
    const int signal = interrupt_ending();
    return signal ? 128 + signal : result;
}

int run_raw(const Options *options) {
    json_auto_t *json = first_argument_json(options);
    if (!json) {
        puts("Invalid raw JSON message.");
        return -1;
    }
    message_auto_t *msg = rv_jrpcmsg_parse_json(json);
    if (!msg) {
        puts("Incorrect message.");
        return -1;
    }
    if (rv_jrpcmsg_typeof(msg) != RV_JRPCMSG_REQUEST) return rv_jrpcapi_send(requests_connection(), msg);
    send_request(msg, send_timeout_ms(options));
    json_auto_t *reply = rv_jrpcmsg_json(msg);
    char *text = json_dumps(reply, JSON_INDENT(4));
    printf("<< %s\n", text ? text : "");
    free(text);
    return rv_jrpcmsg_get_error_code(msg);
}

void on_sigint_ignored(int) {}

// Sleeps until a signal other than SIGINT ends the process; the library shows the events that arrive meanwhile.
int run_listen(const Options *options) {
    struct sigaction action = {};
    action.sa_handler = on_sigint_ignored;
    sigaction(SIGINT, &action, nullptr);
    rv_jrpcapi_show_events(requests_connection(), options->groups, options->group_count);
    rv_jrpcapi_show_events(events_connection(), options->groups, options->group_count);
    while (running) rv_sleep_ms(10);
    return 0;
}

int run_request(const Options *options) {
    return dispatch_by_method(options->mode_argument, options->command_args);
}

int run_notify(const Options *) {
    puts("Unsupported :(");
    return 0;
}

int run_event(const Options *options) {
    message_auto_t *msg = rv_jrpcmsg_create_event_new(options->event_group, first_argument_json(options));
    return rv_jrpcapi_send(events_connection(), msg);
}

int run_script_file(const Options *options) {
    if (!options->login_given) try_login();
    return run_script(options->script_path ? options->script_path : first_argument(options), false);
}

int run_lua_file(const Options *options) {
    return run_lua_script(options->script_path, options->command_args);
}

// By mode code.
constexpr int (*modes[])(const Options *options) = {
    run_interactive,  // MODE_INTERACTIVE
    run_raw,          // MODE_RAW
    run_listen,       // MODE_LISTEN
    run_request,      // MODE_REQUEST
    run_notify,       // MODE_NOTIFY
    run_event,        // MODE_EVENT
    run_script_file,  // MODE_SCRIPT
    run_lua_file,     // MODE_LUA_SCRIPT
};

}  // namespace

int run_mode(const Options *options) {
    return modes[options->run_mode](options);
}
