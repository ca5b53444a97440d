// Attempts on their way: looked at, perhaps waiting, checked on a worker, and decided by what the account is then.
#include "ravd/login.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>
#include <vector>

#include "ravd/json_text.h"
#include "ravd/methods.h"
#include "ravd/password.h"
#include "ravd/session.h"
#include "ravd/workers.h"

namespace ravd {

namespace {

const Fault denied = {9001, {}, {}};
constexpr uint64_t busy_ms = 100;  // until it is tried again to give the workers what had to wait

uint64_t steady_milliseconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

std::string user_result(std::string_view user) {
    std::string result = R"({"User":)";
    append_json_string(result, user);
    return result += '}';
}

// What a worker needs, and nothing else: the loop looks at it only when the worker is done.
struct PasswordCheck {
    PasswordCheck(std::string_view text, bool (*how)(const std::string &, const std::string &))
        : password(text), verify(how) {}
    ~PasswordCheck() { wipe(password); }
    PasswordCheck(const PasswordCheck &) = delete;
    PasswordCheck &operator=(const PasswordCheck &) = delete;

    void run() {
        good = verify(password, hash);
        wipe(password);
    }

    std::string password, hash;
    bool (*verify)(const std::string &password, const std::string &hash);
    bool good = false;
};

}  // namespace

struct Logins::Attempt {
    Attempt(Member &member, std::string_view name, std::shared_ptr<Deferred> answer)
        : caller(member), reply(std::move(answer)), peer(member.peer()), user(name) {}
    ~Attempt() { wipe(user); }
    Attempt(const Attempt &) = delete;
    Attempt &operator=(const Attempt &) = delete;

    Member &caller;  // there as long as the reply is wanted
    std::shared_ptr<Deferred> reply;
    Peer peer;
    std::string user;  // it may be a token
    std::shared_ptr<PasswordCheck> check;
    std::function<void()> confirmed;  // set: nobody logs in, this is called instead
};

Logins::Logins(event_base *base, LoginRules rules, Sessions &sessions, Workers &workers, const ClientLimits &limits)
    : rules_(std::move(rules)),
      sessions_(sessions),
      workers_(workers),
      limits_(limits),
      penalties_(limits, steady_milliseconds),
      log_(steady_milliseconds),
      timer_(event_new(
          base, -1, 0, [](evutil_socket_t, short, void *self) { static_cast<Logins *>(self)->advance(); }, this)) {}

Logins::~Logins() {
    event_free(timer_);
}

// A text that was given for a name may be a token or a password: the log has only names of users that there are.
void Logins::refuse(Member &caller, std::string_view user, const char *reason) {
    const bool known = rules_.find_account(user).has_value();
    log_.tell(caller.peer(), known ? std::string(user).c_str() : nullptr, reason);
    sessions_.log_out(caller.session());
}

void Logins::deny(const Attempt &attempt, const char *reason) {
    if (attempt.confirmed) {
        log_.tell(attempt.peer, attempt.user.c_str(), reason);
    } else {
        refuse(attempt.caller, attempt.user, reason);
    }
    attempt.reply->answer(denied);
}

void Logins::log_in(Member &caller, std::string_view user, std::string_view password, std::shared_ptr<Deferred> reply) {
    const auto attempt = std::make_shared<Attempt>(caller, user, std::move(reply));
    attempt->check = std::make_shared<PasswordCheck>(password, rules_.verify);
    take_up(attempt);
}

void Logins::confirm(Member &caller, std::string_view password, std::shared_ptr<Deferred> reply,
                     std::function<void()> then) {
    const std::string &user = caller.session().account;
    if (user.empty()) return reply->answer({9001, "only for those who have logged in with a password", {}});
    const auto attempt = std::make_shared<Attempt>(caller, user, std::move(reply));
    attempt->check = std::make_shared<PasswordCheck>(password, rules_.verify);
    attempt->confirmed = std::move(then);
    take_up(attempt);
}

void Logins::take_up(const std::shared_ptr<Attempt> &attempt) {
    if (!takes_secrets(attempt->peer)) return deny(*attempt, "a password over TCP without TLS");
    const PeerKey key = key_of(attempt->peer);
    if (!waiting_.contains(key) && penalties_.begin(key)) return check(attempt);
    wait(attempt);
}

void Logins::wait(const std::shared_ptr<Attempt> &attempt) {
    const PeerKey key = key_of(attempt->peer);
    const auto found = waiting_.find(key);
    if ((found == waiting_.end() ? 0 : found->second.size()) >= limits_.login_waiting)
        return deny(*attempt, "too many attempts wait");
    waiting_[key].push_back(attempt);
    attempt->reply->on_abandoned([this, key, reply = attempt->reply.get()] { stop_waiting(key, reply); });
    advance();
}

void Logins::stop_waiting(const PeerKey &peer, const Deferred *reply) {
    const auto found = waiting_.find(peer);
    if (found == waiting_.end()) return;
    std::erase_if(found->second, [&](const auto &each) { return each->reply.get() == reply; });
    if (found->second.empty()) waiting_.erase(found);
}

// Takes up what may be taken up by now. Answers on the way can bring new attempts: they are given only at the end.
void Logins::advance() {
    constexpr uint64_t never = std::numeric_limits<uint64_t>::max();
    std::vector<std::shared_ptr<Attempt>> ready;
    uint64_t next = never;
    for (auto each = waiting_.begin(); each != waiting_.end();) {
        auto &[peer, queue] = *each;
        while (!queue.empty() && penalties_.begin(peer)) {
            ready.push_back(std::move(queue.front()));
            queue.pop_front();
        }
        if (const uint64_t pause = penalties_.pause(peer); !queue.empty() && pause > 0) next = std::min(next, pause);
        each = queue.empty() ? waiting_.erase(each) : std::next(each);
    }
    if (next != never) wake_after(next);
    for (const auto &attempt : ready) check(attempt);
}

void Logins::wake_after(uint64_t milliseconds) {
    const timeval span = {static_cast<time_t>(milliseconds / 1000),
                          static_cast<suseconds_t>(milliseconds % 1000 * 1000)};
    event_add(timer_, &span);
}

// Whoever cannot log in costs the same work as whoever can.
void Logins::check(const std::shared_ptr<Attempt> &attempt) {
    const std::optional<Account> account = rules_.find_account(attempt->user);
    const bool has_password = account && !account->password_hash.empty();
    attempt->check->hash = has_password ? account->password_hash : rules_.dummy_hash;
    if (workers_.post([check = attempt->check] { check->run(); }, [this, attempt] { decide(*attempt); })) return;
    penalties_.cancelled(key_of(attempt->peer));
    wake_after(busy_ms);  // others of the peer may have waited for this one's outcome
    if (!attempt->reply->is_wanted()) return;
    if (!attempt->confirmed) sessions_.log_out(attempt->caller.session());
    attempt->reply->answer({9004, "too many logins at once", {}});
}

// The account may have changed while the password was checked.
void Logins::decide(const Attempt &attempt) {
    const std::optional<Account> account = rules_.find_account(attempt.user);
    const bool good = attempt.check->good && account && account->password_hash == attempt.check->hash;
    const PeerKey key = key_of(attempt.peer);
    if (good) {
        penalties_.accepted(key, attempt.user);
    } else {
        penalties_.refused(key, attempt.user);
    }
    if (!attempt.reply->is_wanted()) {
        if (!good) log_.tell(attempt.peer, account ? attempt.user.c_str() : nullptr, "wrong name or password");
    } else if (!good) {
        deny(attempt, "wrong name or password");
    } else if (attempt.confirmed) {
        attempt.confirmed();
    } else {
        sessions_.log_in(attempt.caller.session(), account->name, account->role, account->name);
        attempt.reply->answer({}, user_result(account->name));
    }
    advance();
}

Fault Logins::log_in_local_user(Member &caller, std::string_view user, std::string &result) {
    const Peer &peer = caller.peer();
    if (peer.transport != Transport::local || user.empty() || rules_.local_name(peer.uid) != user) {
        refuse(caller, user, "no password, and not the local user's own name");
        return denied;
    }
    const std::string name(user);
    if (is_privileged(peer.uid, rules_.own_uid)) {
        sessions_.log_in(caller.session(), name, Role::admin, {});
    } else {
        const std::optional<Account> account = rules_.find_account(name);
        sessions_.log_in(caller.session(), name, account ? account->role : Role::guest, name);
    }
    result += user_result(name);
    return {};
}

bool Logins::takes_secrets(const Peer &peer) const {
    return peer.transport == Transport::local || peer.secured || rules_.plain_passwords;
}

void Logins::refuse_token(Member &caller, std::string_view token) {
    penalties_.refused_token(key_of(caller.peer()), token);
    log_.tell(caller.peer(), nullptr, "no such token");
    sessions_.log_out(caller.session());
}

}  // namespace ravd
