// Sessions: one client process with up to two connections, its identity and its event groups. Sessions know their
// connections as members only; nothing here touches a socket.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "ravd/identity.h"
#include "ravd/model/access.h"
#include "ravd/peer.h"

namespace ravd {

struct AccountChange;
struct Session;

// The text of an event's line, line feed included, shared by all who get it.
using EventLine = std::shared_ptr<const std::string>;

enum class MemberRole : uint8_t { requests, events };

// A connection, as its session sees it. Sessions::close() must be called before it goes.
class Member {
 public:
    explicit Member(const Peer &peer) : peer_(peer) {}
    virtual ~Member() = default;
    Member(const Member &) = delete;
    Member &operator=(const Member &) = delete;

    const Peer &peer() const { return peer_; }
    Session &session() const { return *session_; }  // valid between Sessions::open() and close()
    // Comes from the network and has not logged in: it is granted less.
    bool is_network_guest() const;

    // Queues an event. It is never sent before the handler that caused it has answered.
    virtual void deliver(const EventLine &event) = 0;
    // The session has logged in or out, has joined a group, or is another one: what it is granted may have changed.
    virtual void session_changed() = 0;
    // A reply that was deferred has been given.
    virtual void resume() {}

 protected:
    Peer peer_;

 private:
    friend class Sessions;
    Session *session_ = nullptr;
    MemberRole role_ = MemberRole::requests;
};

struct Session {
    std::string key;  // peer and secret; empty for a session that no second connection can enter
    Viewer viewer;
    std::string account;      // the user of the device whose changes it follows; empty: nobody's
    bool by_token = false;    // it lets in no longer than its user's tokens do
    Member *members[2] = {};  // filled from the front

    struct Membership {
        uint32_t group;
        Member *joined_on;  // null once that connection has gone
    };
    std::vector<Membership> groups;

    // Has logged in, has joined a group, or is local.
    bool is_settled() const;
};

// What the notification Hello says.
struct Hello {
    std::string_view secret;  // 32 hex digits where it is usable
    std::string_view role;    // "requests" or "events"
    int64_t protocol = 1;
};

class Sessions {
 public:
    using FindLocalUser = std::function<LocalUser(uid_t uid)>;

    // own_uid: the daemon's user. groups: how many one session may join.
    Sessions(uid_t own_uid, size_t groups) : own_uid_(own_uid), groups_(groups) {}

    // Who local users are whose uid alone is not enough, asked when a session of theirs begins; all are guests before.
    void set_local_users(FindLocalUser find) { local_users_ = std::move(find); }

    // Called for each session that ends, before it does.
    using Ended = std::function<void(const Session &session)>;
    void on_end(Ended call) { ended_ = std::move(call); }

    // Gives a new connection a session of its own.
    void open(Member &member);
    // Binds a connection to the session of that secret, which is begun where there is none. A connection that cannot
    // enter (the session is full, the Hello unusable, or not the connection's first) gets or keeps one of its own.
    // Returns true when the connection is in the session it asked for.
    bool hello(Member &member, const Hello &hello);
    // Takes a connection out; its session ends with its last one.
    void close(Member &member);

    // The session is the user's from now on. account: the name of the user of the device whose changes it follows, or
    // empty.
    void log_in(Session &session, std::string user, Role role, std::string account);
    // Makes the session a guest's, whatever it was.
    void log_out(Session &session);
    // Makes the sessions of an account do as it did: what has ended logs them out, another role is theirs at once.
    void follow(const AccountChange &change);
    // Logs out those whom a token of that account has let in.
    void end_tokens(std::string_view account);

    // Returns false when the session has joined too many groups. Joining twice and leaving what was never joined
    // change nothing.
    bool join(Member &member, uint32_t group);
    void leave(Session &session, uint32_t group);

    // The sessions that have joined a group, in the order in which they did. Borrowed until the next call.
    const std::vector<Session *> &joined(uint32_t group) const;
    // The connection on which a session gets events of a group it has joined.
    static Member &receiver(const Session &session, uint32_t group);

    size_t count() const { return all_.size(); }

 private:
    Session *begin(Member &member);
    void enter(Member &member, Session &session);
    void detach(Member &member);
    void end(Session *session);

    uid_t own_uid_;
    size_t groups_;
    FindLocalUser local_users_;
    Ended ended_;
    std::unordered_set<Session *> all_;
    std::unordered_map<std::string, Session *> by_key_;
    std::unordered_map<uint32_t, std::vector<Session *>> by_group_;
};

}  // namespace ravd
