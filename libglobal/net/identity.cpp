// Logging in and out, and doing it again after a reconnect, so that no request ever runs as somebody else.
#include "libglobal/net/identity.h"

#include <algorithm>

#include <errno.h>
#include <string.h>

#include "libglobal/net/exchange.h"
#include "libglobal/net/message.h"
#include "libglobal/net/outgoing.h"

namespace rv {

namespace {

void wipe(std::string &text) {
    explicit_bzero(text.data(), text.size());
    text.clear();
}

// Takes params, which hold a secret. Null params: a text in them can't be sent.
json_t *identified_new(rv_jrpcapi &c, const char *method, json_t *params) {
    json_t *request = params ? envelope_new(method, params) : nullptr;
    if (!request || give_id(c, request) == 0) return request;
    json_decref(request);
    return nullptr;
}

json_t *login_request(rv_jrpcapi &c, const char *user, const char *password) {
    return identified_new(c, "Login", json_pack("{s:s, s:s*}", "User", user, "Password", password));
}

json_t *token_request(rv_jrpcapi &c, const char *token) {
    return identified_new(c, "SetAuth", json_pack("{s:s}", "Token", token));
}

json_t *join_request(rv_jrpcapi &c, uint32_t group) {
    return identified_new(c, join_method, json_pack("{s:I}", "Group", json_int_t{group}));
}

// Whether there is a log-in or token to repeat.
bool is_held(const rv_jrpcapi &c) {
    return !c.identity.token.empty() || (c.identity.has_login && (c.flags & RV_JRPCAPI_RELOGIN));
}

json_t *replay_request(rv_jrpcapi &c) {
    const Identity &held = c.identity;
    if (!held.token.empty()) return token_request(c, held.token.c_str());
    return login_request(c, held.user.c_str(), held.has_password ? held.password.c_str() : nullptr);
}

void wipe_member(const json_t *params, const char *key) {
    const json_t *member = json_object_get(params, key);
    if (member) explicit_bzero(const_cast<char *>(json_string_value(member)), json_string_length(member));
}

// Takes request, and wipes it before the first wait; its text in the outbox is wiped when it has left.
int exchange_secret_new(rv_jrpcapi &c, json_t *request, int64_t deadline) {
    if (!request) return RV_SOCKET_ERR_OS - EINVAL;
    outbox_expect_secret(c.out);
    const int err = exchange_begin_new(c, json_incref(request), deadline);
    wipe_member(json_object_get(request, "params"), "Password");
    wipe_member(json_object_get(request, "params"), "Token");
    json_decref(request);
    return err ? err : exchange_finish(c, deadline);
}

int log_in_again(rv_jrpcapi &c, int64_t deadline) {
    if (const int err = exchange_secret_new(c, replay_request(c), deadline)) return err;
    if (reply_error_code(c.exchange.reply) != 0) return 1;
    settle(c);
    c.identity.login_due = false;
    return 0;
}

int join_again(rv_jrpcapi &c, int64_t deadline) {
    std::vector<uint32_t> &groups = c.identity.groups;
    while (c.identity.groups_due > 0) {
        json_t *request = join_request(c, groups[groups.size() - c.identity.groups_due]);
        if (!request) return RV_SOCKET_ERR_OS - ENOMEM;
        if (const int err = exchange_new(c, request, deadline)) return err;
        settle(c);
        c.identity.groups_due--;
    }
    return 0;
}

int resume(rv_jrpcapi &c, int64_t deadline) {
    if (!is_open(c))
        if (const int err = connection_open(c, deadline)) return err;
    if (c.identity.login_due && is_held(c))
        if (const int result = log_in_again(c, deadline)) return result;
    return join_again(c, deadline);
}

// Asks the daemon for another identity: opens c where needed, without repeating the old one. Where the connection was
// found closed it asks once more. Returns 0, the refusal's code, or a socket error.
template <typename Build>
int change_identity(rv_jrpcapi &c, int64_t deadline, Build build) {
    settle(c);
    int err = RV_SOCKET_ERR_CLOSED;
    for (int tries = 0; tries < 2 && err == RV_SOCKET_ERR_CLOSED; tries++) {
        err = is_open(c) ? 0 : connection_open(c, deadline);
        c.identity.login_due = true;  // until the outcome is known
        if (err == 0) err = exchange_secret_new(c, build(), deadline);
    }
    c.socket_err = err;
    const int32_t code = err ? 0 : reply_error_code(c.exchange.reply);
    settle(c);
    if (err) return err;
    c.identity.login_due = false;
    return code;
}

}  // namespace

int session_resume(rv_jrpcapi &c, int64_t deadline) {
    const int result = resume(c, deadline);
    return result == RV_SOCKET_ERR_LOST ? static_cast<int>(RV_SOCKET_ERR_CLOSED) : result;
}

void session_announce(rv_jrpcapi &c) {
    const auto queue = [&c](json_t *request) {
        if (request && queue_frame(c, request) == 0) expect_reply(c, request);
        json_decref(request);
    };
    queue_hello(c);
    if (is_held(c)) {
        c.out.secret = true;
        queue(replay_request(c));
    }
    for (const uint32_t group : c.identity.groups) queue(join_request(c, group));
}

void note_groups(Identity &identity, const json_t *request) {
    const char *method = json_string_value(json_object_get(request, "method"));
    const bool joined = method && strcmp(method, join_method) == 0;
    const bool left = method && strcmp(method, leave_method) == 0;
    if (!joined && !left) return;
    const uint32_t group = message_group(request);
    std::erase(identity.groups, group);
    if (joined) identity.groups.push_back(group);
}

bool has_joined(const rv_jrpcapi &c, uint32_t group) {
    return std::find(c.identity.groups.begin(), c.identity.groups.end(), group) != c.identity.groups.end();
}

void forget_identity(Identity &identity) {
    wipe(identity.user);
    wipe(identity.password);
    wipe(identity.token);
    identity.has_login = identity.has_password = false;
}

}  // namespace rv

int rv_jrpcapi_login(rv_jrpcapi *c, const char *user, const char *password) {
    const int result =
        rv::change_identity(*c, rv_deadline(c->timeout_ms), [&] { return rv::login_request(*c, user, password); });
    if (result < 0 && c->socket_err) return result;
    rv::forget_identity(c->identity);
    if (result != 0) return result;  // a refused log-in leaves a guest
    c->identity.user = user;
    c->identity.password = password ? password : "";
    c->identity.has_login = true;
    c->identity.has_password = password != nullptr;
    c->flags |= RV_JRPCAPI_RELOGIN;
    return 0;
}

int rv_jrpcapi_logout(rv_jrpcapi *c) {
    rv::forget_identity(c->identity);
    return rv::change_identity(*c, rv_deadline(c->timeout_ms),
                               [&] { return rv::identified_new(*c, "Logout", json_object()); });
}

int rv_jrpcapi_set_auth(rv_jrpcapi *c, int, const char *token, int, int timeout_ms) {
    const int result = rv::change_identity(*c, rv_deadline(timeout_ms), [&] { return rv::token_request(*c, token); });
    if (result < 0 && c->socket_err) return result;
    rv::forget_identity(c->identity);
    if (result == 0) c->identity.token = token;
    return result;
}
