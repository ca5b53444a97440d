// login, logout, login_if_guest: who the session is.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ravc/commands/handlers.h"
#include "ravc/main/identity.h"
#include "ravc/main/password.h"
#include "ravc/main/session.h"

namespace {

const char *word_at(const json_t *args, size_t index) {
    return json_string_value(json_array_get(args, index));
}

// Overwrites the words of a line once they have been used: any may be a password or a token, also in a line that was
// typed wrong.
void wipe_words(json_t *args) {
    size_t i;
    json_t *word;
    json_array_foreach(args, i, word)
        explicit_bzero(const_cast<char *>(json_string_value(word)), json_string_length(word));
}

int report(int result) {
    if (result != 0) puts("Failed to authenticate user");
    return result;
}

// As the user whom the environment names. Without one, nobody is let in.
int login_from_environment() {
    const char *user = getenv("USER");
    return session_login(user ? user : "", nullptr);
}

int login_asking(const char *user) {
    char *password = password_prompt("[ravc] password for %s: ", user);
    const int result = session_login(user, password);
    password_free(password);
    return result;
}

int log_in(const char *name, const json_t *args) {
    const size_t words = json_array_size(args);
    if (words == 0) return report(login_from_environment());
    if (words == 1) return report(login_asking(word_at(args, 0)));
    if (words == 3 && strcmp(word_at(args, 1), "-p") == 0)
        return report(session_login(word_at(args, 0), word_at(args, 2)));
    printf("syntax: %s [<login> [-p <password>]]\n", name);
    return -1;
}

}  // namespace

int process_login(const char *name, json_t *args) {
    const int result = log_in(name, args);
    wipe_words(args);
    return result;
}

int process_logout(const char *name, json_t *args) {
    if (json_array_size(args) == 0) return session_logout();
    printf("syntax: %s\n", name);
    return -1;
}

int process_login_if_guest(const char *, json_t *args) {
    if (!identity_user()) session_login(word_at(args, 0) ? word_at(args, 0) : "", word_at(args, 1));
    wipe_words(args);
    return 0;
}
