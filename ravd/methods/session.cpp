// Methods about the session itself: its binding, its identity, its event groups, and events from clients.
#include "ravd/session.h"

#include "ravd/accounts.h"
#include "ravd/events.h"
#include "ravd/json_text.h"
#include "ravd/log.h"
#include "ravd/login.h"
#include "ravd/methods/handlers.h"
#include "ravd/tokens.h"

namespace ravd {

Fault run_hello(const Call &call, std::string &result) {
    const Hello hello = {call.text("Session"), call.text("Role"), call.integer("Protocol")};
    if (!call.services.sessions.hello(call.caller, hello)) log_debug("a Hello was not usable");
    result += "{}";
    return {};
}

Fault run_login(const Call &call, std::string &result) {
    Logins &logins = call.services.logins;
    const std::string_view user = call.text("User");
    if (call.find("Password") == nullptr) return logins.log_in_local_user(call.caller, user, result);
    logins.log_in(call.caller, user, call.text("Password"), call.defer());
    return {};
}

Fault run_logout(const Call &call, std::string &result) {
    call.services.sessions.log_out(call.caller.session());
    result += "{}";
    return {};
}

Fault run_set_auth(const Call &call, std::string &result) {
    Services &services = call.services;
    const std::string_view token = call.text("Token");
    if (!token.empty()) {
        std::optional<Account> account;
        if (services.logins.takes_secrets(call.caller.peer()))
            if (const auto owner = services.tokens.owner(token)) account = services.accounts.find(*owner);
        if (!account || !account->enabled || account->name.empty()) {
            services.logins.refuse_token(call.caller, token);
            return {9001, {}, {}};
        }
        services.sessions.log_in(call.caller.session(), account->name, account->role, account->name);
        call.caller.session().by_token = true;
    } else {
        services.sessions.log_out(call.caller.session());
    }
    result += "{}";
    return {};
}

Fault run_join_group(const Call &call, std::string &result) {
    const auto group = static_cast<uint32_t>(call.integer("Group"));
    if (!call.services.sessions.join(call.caller, group)) return {9004, "too many groups", {}};
    call.services.events.joined(call.caller.session(), group);
    result += "{}";
    return {};
}

Fault run_leave_group(const Call &call, std::string &result) {
    call.services.sessions.leave(call.caller.session(), static_cast<uint32_t>(call.integer("Group")));
    result += "{}";
    return {};
}

Fault run_event(const Call &call, std::string &result) {
    const auto group = static_cast<uint32_t>(call.integer("Group"));
    if (group < first_client_group && call.viewer().role != Role::admin) {
        log_debug("an event for group %u was ignored: its sender has no system access", group);
        return {9001, {}, {}};
    }
    std::string params;
    if (const json_t *value = call.find("Params")) append_json(params, value);
    call.services.events.publish(group, params, &call.caller.session());
    result += "{}";
    return {};
}

}  // namespace ravd
