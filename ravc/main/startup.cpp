// The steps of start-up, in their order.
#include "ravc/main/startup.h"

#include <string>

#include <errno.h>
#include <fcntl.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ravc/daemon/connections.h"
#include "ravc/main/session.h"
#include "ravc/shell/colors.h"
#include "ravc/shell/script.h"
#include "rv/colors.h"
#include "rv/confapi.h"
#include "rv/jrpcapi.h"

namespace {

enum { INSTANCE_EVENTS_GROUP = 4, EVENTS_TIMEOUT_MS = 100, CONFIG_PATH_MAX = 255 };

void add_flags(rv_jrpcapi *connection, int flags) {
    rv_jrpcapi_set_flags(connection, rv_jrpcapi_get_flags(connection) | flags);
}

void set_up_connections(const Options *options) {
    for (rv_jrpcapi *connection : {requests_connection(), events_connection()}) {
        if (options->ssl) add_flags(connection, RV_JRPCAPI_TLS);
        if (options->socket_path) rv_jrpcapi_set_destination(connection, "", options->socket_path, RV_SOCKET_UNIX);
    }
    rv_jrpcapi_set_timeout(requests_connection(), 5000);
    rv_jrpcapi_set_timeout(events_connection(), EVENTS_TIMEOUT_MS);
}

void join_groups(const Options *options) {
    // Modes 1 and 3, a raw message and a request, have no use for instance events.
    if (options->run_mode != MODE_RAW && options->run_mode != MODE_REQUEST)
        join_group(events_connection(), INSTANCE_EVENTS_GROUP);
    for (size_t i = 0; i < options->group_count; i++) join_group(requests_connection(), options->groups[i]);
}

// The user's start-up script; empty when there is no home folder, or when its path would not fit.
std::string default_config_path() {
    const char *home = getenv("HOME");
    const passwd *entry = home ? nullptr : getpwuid(getuid());
    if (entry) home = entry->pw_dir;
    if (!home) return "";
    std::string path = std::string(home) + "/.local/ravc/config";
    if (path.size() > CONFIG_PATH_MAX) path.clear();
    return path;
}

// The file at path when it is a regular one, else null. What is opened is what is looked at: a path that is changed
// meanwhile can't bring in a FIFO to hang on.
FILE *open_regular_file(const char *path) {
    const int fd = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat status;
    if (fd >= 0 && fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) return fdopen(fd, "r");
    if (fd >= 0) close(fd);
    return nullptr;
}

// Runs the script, which is closed, with standard output on /dev/null.
void run_silently(FILE *script) {
    fflush(stdout);
    const int saved = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (saved >= 0 && null >= 0 && dup2(null, STDOUT_FILENO) >= 0) {
        run_script_lines(script, true);
        fflush(stdout);
        dup2(saved, STDOUT_FILENO);
    }
    fclose(script);
    if (null >= 0) close(null);
    if (saved >= 0) close(saved);
}

void run_startup_script(const Options *options) {
    const std::string path = options->config_path ? options->config_path : default_config_path();
    if (FILE *script = open_regular_file(path.c_str())) run_silently(script);
}

// Logs in as the command line says. Returns 0, also when it says nothing, or -1 when that was refused.
int log_in(Options *options) {
    if (!options->login_given) return 0;
    const int result = session_login(options->login, options->password[0] ? options->password : nullptr);
    options_wipe_credentials(options);
    if (result != 0) fputs("Failed to authenticate user\n", stderr);
    return result;
}

}  // namespace

int startup(Options *options) {
    set_up_connections(options);
    if (connections_open() < 0) return -1;
    if (!isatty(STDOUT_FILENO)) rv_colors_toggle(0);
    colors_apply(color_table());
    rv_confapi_set_ctx(requests_connection());
    if (log_in(options) != 0) return -1;
    rv_jrpcapi_set_flags(events_connection(), rv_jrpcapi_get_flags(requests_connection()) | RV_JRPCAPI_EVENTS);
    join_groups(options);
    run_startup_script(options);
    return 0;
}
