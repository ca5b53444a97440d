// Logging in: who may, what it costs, and what the log says of those who may not. Passwords are hashed on the workers;
// an attempt whose peer is in a pause waits for its end without holding up anything. All of it runs on the loop.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <event2/event.h>

#include "ravd/accounts.h"
#include "ravd/model/fault.h"
#include "ravd/penalties.h"
#include "ravd/refusal_log.h"

namespace ravd {

class Deferred;
class Member;
class Sessions;
class Workers;

// What a login is decided by.
struct LoginRules {
    // The enabled account of a name.
    std::function<std::optional<Account>(std::string_view name)> find_account;
    // The name of a local user; empty when it has none.
    std::function<std::string(uid_t uid)> local_name;
    // Whether a password is that of a hash; called on a worker.
    bool (*verify)(const std::string &password, const std::string &hash);
    std::string dummy_hash;        // checked for users who have none, so that they are refused no sooner
    uid_t own_uid;                 // the daemon's
    bool plain_passwords = false;  // passwords are taken over TCP without TLS
};

class Logins {
 public:
    // Borrows all but the rules, which it takes.
    Logins(event_base *base, LoginRules rules, Sessions &sessions, Workers &workers, const ClientLimits &limits);
    ~Logins();
    Logins(const Logins &) = delete;
    Logins &operator=(const Logins &) = delete;

    // Logs the caller's session in and answers {"User": name}, or makes it a guest and answers 9001 (9004 when too much
    // work waits already), perhaps later. Until then the session has the rights that it had. A change of the account
    // meanwhile counts. The text of the password is copied; the copy is wiped as soon as it was checked.
    void log_in(Member &caller, std::string_view user, std::string_view password, std::shared_ptr<Deferred> reply);
    // Checks the password of the user that the caller has logged in as, at the same cost and under the same penalties,
    // and calls then; or answers the reply with a fault. The session stays as it is.
    void confirm(Member &caller, std::string_view password, std::shared_ptr<Deferred> reply,
                 std::function<void()> then);
    // The same as log_in() without a password, for local users by their own name: appends the result or returns the
    // fault. Costs no penalty, since it guesses nothing, and forgives none.
    Fault log_in_local_user(Member &caller, std::string_view user, std::string &result);

    // Whether a peer may show what lets in: not over TCP without TLS, unless that is allowed.
    bool takes_secrets(const Peer &peer) const;
    // A token of the caller was refused: makes the session a guest's, counts the refusal and logs it.
    void refuse_token(Member &caller, std::string_view token);

 private:
    struct Attempt;
    using Waiting = std::deque<std::shared_ptr<Attempt>>;

    void refuse(Member &caller, std::string_view user, const char *reason);
    void deny(const Attempt &attempt, const char *reason);
    void take_up(const std::shared_ptr<Attempt> &attempt);
    void wait(const std::shared_ptr<Attempt> &attempt);
    void stop_waiting(const PeerKey &peer, const Deferred *reply);
    void advance();
    void check(const std::shared_ptr<Attempt> &attempt);
    void decide(const Attempt &attempt);
    void wake_after(uint64_t milliseconds);

    const LoginRules rules_;
    Sessions &sessions_;
    Workers &workers_;
    const ClientLimits &limits_;
    Penalties penalties_;
    RefusalLog log_;
    std::map<PeerKey, Waiting> waiting_;  // none is empty; first come, first served
    event *timer_;                        // for the end of the next pause
};

}  // namespace ravd
