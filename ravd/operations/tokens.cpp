// Device.Users.User.{i}.CreateToken and .RevokeTokens. The schema lets users execute them; whose tokens they may make
// or end is decided here: admins everybody's, others their own.
#include "ravd/tokens.h"

#include "ravd/accounts.h"
#include "ravd/operations/operations.h"
#include "ravd/session.h"

namespace ravd {

namespace {

bool may_manage(const Call &call, const Account &account) {
    if (call.viewer().role == Role::admin) return true;
    return !account.name.empty() && account.name == call.caller.session().account;
}

}  // namespace

Fault run_create_token(const Call &call, const Operation &operation, NamedValues &outputs) {
    const auto account = call.services.accounts.find(operation.instance);
    if (!account || !may_manage(call, *account)) return {9001, {}, {}};
    if (account->name.empty() || !account->enabled) return {9001, "the user can't log in", {}};
    std::string token;
    switch (call.services.tokens.create(account->number, token)) {
        case Tokens::Outcome::done:
            outputs.emplace_back("Token", std::move(token));
            return {};
        case Tokens::Outcome::too_many:
            return {9004, "the user has too many tokens", {}};
        default:
            return {9002, "the token could not be stored", {}};
    }
}

Fault run_revoke_tokens(const Call &call, const Operation &operation, NamedValues &) {
    const auto account = call.services.accounts.find(operation.instance);
    if (!account || !may_manage(call, *account)) return {9001, {}, {}};
    if (!call.services.tokens.revoke(account->number)) return {9002, "the tokens could not be revoked", {}};
    call.services.sessions.end_tokens(account->name);
    return {};
}

}  // namespace ravd
