// A connection without a socket: it keeps what its session hands it.
#pragma once

#include <string>
#include <vector>

#include "ravd/session.h"

namespace ravd {

constexpr uid_t test_uid = 1000;

inline Peer local_peer(uid_t uid = test_uid) {
    Peer peer;
    peer.uid = uid;
    return peer;
}

inline Peer tcp_peer(bool secured = false) {
    Peer peer;
    peer.transport = Transport::tcp;
    peer.secured = secured;
    return peer;
}

class TestMember : public Member {
 public:
    explicit TestMember(Sessions &sessions, const Peer &peer = local_peer()) : Member(peer), sessions_(sessions) {
        sessions_.open(*this);
    }
    ~TestMember() override { leave(); }

    void leave() { sessions_.close(*this); }
    void deliver(const EventLine &event) override { events.push_back(*event); }
    void session_changed() override { ++changes; }

    std::vector<std::string> events;
    int changes = 0;  // of the session, as far as it was told

 private:
    Sessions &sessions_;
};

}  // namespace ravd
