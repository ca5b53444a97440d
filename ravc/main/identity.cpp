// The session's identity: two texts and two flags.
#include "ravc/main/identity.h"

#include <stdlib.h>
#include <string.h>

namespace {

char *stored_user;
char *stored_password;
bool token_session;
bool system_access;

char *copy_of(const char *text) {
    return text ? strdup(text) : nullptr;
}

// Puts copy in the place of *text, which is wiped and freed.
void replace(char **text, char *copy) {
    char *old = *text;
    *text = copy;
    if (!old) return;
    explicit_bzero(old, strlen(old));
    free(old);
}

}  // namespace

const char *identity_user() {
    return stored_user;
}
const char *identity_password() {
    return stored_password;
}
bool identity_is_token() {
    return token_session;
}
bool identity_has_system_access() {
    return system_access;
}

void identity_set(const char *user, const char *password) {
    char *new_user = copy_of(user);  // both before either is freed: they may be the stored ones
    char *new_password = copy_of(password);
    replace(&stored_user, new_user);
    replace(&stored_password, new_password);
}

void identity_set_token(bool token) {
    token_session = token;
}

void identity_set_system_access(bool access) {
    system_access = access;
}

void identity_release() {
    identity_set(nullptr, nullptr);
}
