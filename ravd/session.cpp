// Binding of connections to sessions, and membership of groups.
#include "ravd/session.h"

#include <algorithm>

#include "ravd/accounts.h"

namespace ravd {

namespace {

constexpr size_t secret_length = 32;

bool is_usable(const Hello &hello) {
    const auto is_hex = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    };
    return hello.protocol == 1 && hello.secret.size() == secret_length &&
           std::all_of(hello.secret.begin(), hello.secret.end(), is_hex) &&
           (hello.role == "requests" || hello.role == "events");
}

// Who must be the same to enter a session stands in its key: another peer's secret names another session.
std::string session_key(const Peer &peer, std::string_view secret) {
    std::string key = peer.transport == Transport::local ? "local " + std::to_string(peer.uid)
                      : peer.secured                     ? "tls"
                                                         : "tcp";
    key += ' ';
    return key += secret;
}

void tell(const Session &session) {
    for (Member *each : session.members) {
        if (each != nullptr) each->session_changed();
    }
}

}  // namespace

bool Member::is_network_guest() const {
    return peer_.transport == Transport::tcp && session().viewer.user.empty();
}

bool Session::is_settled() const {
    return !groups.empty() || !viewer.user.empty() ||
           (members[0] != nullptr && members[0]->peer().transport == Transport::local);
}

Session *Sessions::begin(Member &member) {
    auto *session = new Session;
    const Peer &peer = member.peer();
    session->viewer = viewer_of_peer(peer, own_uid_);
    if (peer.transport == Transport::local && session->viewer.role != Role::admin && local_users_) {
        LocalUser user = local_users_(peer.uid);
        session->viewer.role = user.role;
        session->account = std::move(user.name);
    }
    all_.insert(session);
    return session;
}

void Sessions::enter(Member &member, Session &session) {
    session.members[session.members[0] == nullptr ? 0 : 1] = &member;
    member.session_ = &session;
}

void Sessions::open(Member &member) {
    enter(member, *begin(member));
}

bool Sessions::hello(Member &member, const Hello &hello) {
    Session &present = member.session();
    const std::string key = session_key(member.peer(), hello.secret);
    const bool usable = is_usable(hello);
    if (usable && present.key == key) {
        member.role_ = hello.role == "events" ? MemberRole::events : MemberRole::requests;
        return true;
    }
    if (!usable || !present.key.empty()) {  // a session of its own: the one it has, unless it shares that
        if (present.members[1] != nullptr) {
            detach(member);
            open(member);
            member.session_changed();
        }
        return false;
    }
    const auto found = by_key_.find(key);
    if (found == by_key_.end()) {
        present.key = key;
        by_key_.emplace(key, &present);
    } else if (found->second->members[1] == nullptr) {
        Session &session = *found->second;
        detach(member);
        enter(member, session);
        member.session_changed();
    } else {
        return false;
    }
    member.role_ = hello.role == "events" ? MemberRole::events : MemberRole::requests;
    return true;
}

void Sessions::detach(Member &member) {
    Session &session = member.session();
    member.session_ = nullptr;
    member.role_ = MemberRole::requests;
    if (session.members[0] == &member) session.members[0] = session.members[1];
    session.members[1] = nullptr;
    if (session.members[0] == nullptr) return end(&session);
    for (Session::Membership &membership : session.groups) {
        if (membership.joined_on == &member) membership.joined_on = nullptr;
    }
}

void Sessions::close(Member &member) {
    if (member.session_ != nullptr) detach(member);
}

void Sessions::log_in(Session &session, std::string user, Role role, std::string account) {
    session.viewer = {role, std::move(user)};
    session.account = std::move(account);
    session.by_token = false;
    tell(session);
}

void Sessions::log_out(Session &session) {
    log_in(session, {}, Role::guest, {});
}

void Sessions::follow(const AccountChange &change) {
    for (Session *session : all_) {
        if (session->account != change.name || change.name.empty()) continue;
        const bool logged_in = !session->viewer.user.empty();
        if (!logged_in) {
            session->viewer.role = local_users_(session->members[0]->peer().uid).role;
        } else if (change.ended) {
            log_out(*session);
        } else {
            session->viewer.role = change.role;
        }
    }
}

void Sessions::end_tokens(std::string_view account) {
    for (Session *session : all_)
        if (session->by_token && session->account == account) log_out(*session);
}

void Sessions::end(Session *session) {
    if (ended_) ended_(*session);
    while (!session->groups.empty()) leave(*session, session->groups.back().group);
    if (!session->key.empty()) by_key_.erase(session->key);
    all_.erase(session);
    delete session;
}

bool Sessions::join(Member &member, uint32_t group) {
    Session &session = member.session();
    for (Session::Membership &membership : session.groups) {
        if (membership.group != group) continue;
        if (membership.joined_on == nullptr) membership.joined_on = &member;
        return true;
    }
    if (session.groups.size() >= groups_) return false;
    session.groups.push_back({group, &member});
    by_group_[group].push_back(&session);
    tell(session);
    return true;
}

void Sessions::leave(Session &session, uint32_t group) {
    if (std::erase_if(session.groups, [&](const auto &each) { return each.group == group; }) == 0) return;
    const auto found = by_group_.find(group);
    std::erase(found->second, &session);
    if (found->second.empty()) by_group_.erase(found);
}

const std::vector<Session *> &Sessions::joined(uint32_t group) const {
    static const std::vector<Session *> nobody;
    const auto found = by_group_.find(group);
    return found == by_group_.end() ? nobody : found->second;
}

Member &Sessions::receiver(const Session &session, uint32_t group) {
    Member &first = *session.members[0];
    Member *second = session.members[1];
    if (first.role_ == MemberRole::events) return first;
    if (second != nullptr && second->role_ == MemberRole::events) return *second;
    for (const Session::Membership &membership : session.groups) {
        if (membership.group == group && membership.joined_on != nullptr) return *membership.joined_on;
    }
    return first;
}

}  // namespace ravd
