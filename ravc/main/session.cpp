// Logging in by password, by token and as the local user; logging out.
#include "ravc/main/session.h"

#include <jansson.h>
#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include "ravc/cache/node_cache.h"
#include "ravc/daemon/connections.h"
#include "ravc/main/identity.h"
#include "ravc/shell/colors.h"
#include "ravc/shell/prompt.h"
#include "rv/confapi.h"
#include "rv/log.h"

namespace {

enum { TOKEN_TIMEOUT_MS = 5000 };

int present_token(const char *token) {
    return rv_jrpcapi_set_auth(requests_connection(), 0, token, 0, TOKEN_TIMEOUT_MS);
}

// Whether the daemon took token: it tells then whose it is, in *user (a new reference).
bool log_in_by_token(const char *token, json_t **user) {
    if (present_token(token) < 0) return false;  // never asked: what is read next would be of the session as it was
    *user = rv_confapi_getconfig("Device.Users.CurrentUser");
    return *user;
}

bool read_system_access() {
    rv_confapi_ignore_next_error_exec(1);
    json_auto_t *access = rv_confapi_getconfig("Device.Users.SystemAccess");
    return json_is_true(access);
}

// Stores whether the user has system access, and shows it.
void show_access(bool access) {
    identity_set_system_access(access);
    colors_apply(color_table());
    prompt_update();
}

}  // namespace

int session_login(const char *name, const char *password) {
    rv_jrpcapi *connection = requests_connection();
    if (rv_jrpcapi_login(connection, name, password) == 0) {
        identity_set_token(false);
        session_set_identity(name, password);
        return 0;
    }
    json_auto_t *user = nullptr;
    if (!log_in_by_token(name, &user)) {
        session_logout();
        session_set_identity(nullptr, nullptr);
        return -1;
    }
    rv_jrpcapi_set_flags(connection, rv_jrpcapi_get_flags(connection) & ~RV_JRPCAPI_RELOGIN);
    identity_set_token(true);
    session_set_identity(json_string_value(user), nullptr);
    return 0;
}

int session_logout() {
    session_set_identity(nullptr, nullptr);
    if (!identity_is_token()) return rv_jrpcapi_logout(requests_connection());
    present_token("");
    return 0;
}

void try_login() {
    if (identity_user() || rv_socket_type(rv_jrpcapi_socket(requests_connection())) != RV_SOCKET_UNIX) return;
    const long wanted = sysconf(_SC_GETPW_R_SIZE_MAX);
    const size_t size = wanted == -1 ? 16384 : static_cast<size_t>(wanted);
    char *buffer = static_cast<char *>(malloc(size));
    if (!buffer) __rv_log_assert_fmt("xmalloc failed at func %s:%zu (%s)", __func__, size_t{__LINE__}, __FILE__);
    passwd entry;
    passwd *found = nullptr;
    getpwuid_r(getuid(), &entry, buffer, size, &found);
    if (found) session_login(found->pw_name, nullptr);
    free(buffer);
}

int session_set_identity(const char *user, const char *password) {
    identity_set(user, password);
    show_access(false);  // should the read below be abandoned, nobody has the rights of whoever was there before
    if (user) show_access(read_system_access());
    node_cache_rebuild();
    prompt_update();  // the current path is the root now
    return 0;
}
