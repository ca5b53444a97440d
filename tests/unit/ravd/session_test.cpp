// Which connections share a session, which rights it has, and where its events go.
#include "ravd/session.h"

#include <fstream>
#include <memory>

#include <gtest/gtest.h>
#include <unistd.h>

#include "ravd/accounts.h"
#include "ravd/identity.h"
#include "tests/unit/ravd/member.h"

namespace ravd {
namespace {

constexpr char secret[] = "0123456789abcdef0123456789ABCDEF";
constexpr char other_secret[] = "0123456789abcdef0123456789abcdef";

class SessionTest : public testing::Test {
 protected:
    bool hello(Member &member, const char *role = "requests", const char *text = secret) {
        return sessions.hello(member, {text, role, 1});
    }

    Sessions sessions{test_uid, 4};
};

TEST_F(SessionTest, EveryConnectionBeginsAlone) {
    TestMember one(sessions), two(sessions);
    EXPECT_NE(&one.session(), &two.session());
    EXPECT_EQ(sessions.count(), 2U);
}

TEST_F(SessionTest, SameSecretSharesOneSession) {
    TestMember one(sessions), two(sessions);
    EXPECT_TRUE(hello(one));
    EXPECT_TRUE(hello(two, "events"));
    EXPECT_EQ(&one.session(), &two.session());
    EXPECT_EQ(sessions.count(), 1U);
}

TEST_F(SessionTest, ThirdConnectionStaysAlone) {
    TestMember one(sessions), two(sessions), three(sessions);
    hello(one);
    hello(two);
    EXPECT_FALSE(hello(three));
    EXPECT_NE(&three.session(), &one.session());
    two.leave();
    EXPECT_TRUE(hello(three));
    EXPECT_EQ(&three.session(), &one.session());
}

TEST_F(SessionTest, PeersMustBeTheSame) {
    TestMember local(sessions), other_user(sessions, local_peer(test_uid + 1)), tcp(sessions, tcp_peer());
    TestMember tls(sessions, tcp_peer(true)), second_tcp(sessions, tcp_peer());
    for (Member *each : std::initializer_list<Member *>{&local, &other_user, &tcp, &tls, &second_tcp}) {
        EXPECT_TRUE(hello(*each));
    }
    EXPECT_EQ(sessions.count(), 4U);
    EXPECT_EQ(&tcp.session(), &second_tcp.session());
}

TEST_F(SessionTest, UnusableHello) {
    const Hello unusable[] = {{"", "requests", 1},
                              {"0123456789abcdef0123456789ABCDE", "requests", 1},
                              {"0123456789abcdef0123456789ABCDEFF", "requests", 1},
                              {"0123456789abcdef0123456789ABCDEG", "requests", 1},
                              {secret, "", 1},
                              {secret, "Events", 1},
                              {secret, "events", 2}};
    for (const Hello &each : unusable) {
        TestMember one(sessions), two(sessions);
        EXPECT_FALSE(sessions.hello(one, each));
        EXPECT_FALSE(sessions.hello(two, each));
        EXPECT_NE(&one.session(), &two.session());
    }
}

TEST_F(SessionTest, ConnectionThatChangesItsSecretGetsASessionOfItsOwn) {
    TestMember one(sessions), two(sessions), three(sessions);
    hello(one);
    hello(two);
    hello(three, "requests", other_secret);
    EXPECT_FALSE(hello(two, "requests", other_secret));
    EXPECT_NE(&two.session(), &one.session());
    EXPECT_NE(&two.session(), &three.session());
}

TEST_F(SessionTest, HelloKeepsWhatAFreshSessionHasJoined) {
    TestMember one(sessions);
    sessions.join(one, 17);
    hello(one);
    ASSERT_EQ(sessions.joined(17).size(), 1U);
    EXPECT_EQ(sessions.joined(17)[0], &one.session());
}

TEST_F(SessionTest, SessionsEndWithTheirLastConnection) {
    auto one = std::make_unique<TestMember>(sessions), two = std::make_unique<TestMember>(sessions);
    hello(*one);
    hello(*two);
    sessions.join(*one, 17);
    one.reset();
    EXPECT_EQ(sessions.count(), 1U);
    EXPECT_EQ(sessions.joined(17).size(), 1U);
    EXPECT_EQ(&Sessions::receiver(*sessions.joined(17)[0], 17), two.get());
    two.reset();
    EXPECT_EQ(sessions.count(), 0U);
    EXPECT_TRUE(sessions.joined(17).empty());
    TestMember again(sessions);
    hello(again);
    EXPECT_TRUE(again.session().groups.empty());
}

TEST_F(SessionTest, EventsGoToTheEventsConnectionElseToTheOneThatJoined) {
    TestMember one(sessions), two(sessions);
    hello(one);
    hello(two);
    sessions.join(two, 17);
    EXPECT_EQ(&Sessions::receiver(one.session(), 17), &two);
    hello(one, "events");
    EXPECT_EQ(&Sessions::receiver(one.session(), 17), &one);
    hello(one, "requests");
    sessions.join(one, 17);
    EXPECT_EQ(&Sessions::receiver(one.session(), 17), &two);
    EXPECT_EQ(sessions.joined(17).size(), 1U);
}

TEST_F(SessionTest, GroupsAreLimited) {
    TestMember one(sessions);
    for (uint32_t group = 0; group < 4; ++group) EXPECT_TRUE(sessions.join(one, group));
    EXPECT_FALSE(sessions.join(one, 4));
    EXPECT_TRUE(sessions.join(one, 3));
    sessions.leave(one.session(), 3);
    sessions.leave(one.session(), 3);
    EXPECT_TRUE(sessions.join(one, 4));
}

TEST_F(SessionTest, JoiningSettlesBothConnections) {
    TestMember one(sessions, tcp_peer()), two(sessions, tcp_peer());
    hello(one);
    hello(two);
    EXPECT_FALSE(one.session().is_settled());
    sessions.join(one, 17);
    EXPECT_TRUE(one.session().is_settled());
    EXPECT_EQ(one.changes, 1);
    EXPECT_EQ(two.changes, 2);  // it also entered the session
    one.leave();
    TestMember three(sessions, tcp_peer());
    hello(three);
    EXPECT_EQ(three.changes, 1);
}

class IdentityTest : public SessionTest {
 protected:
    void SetUp() override {
        sessions.set_local_users([this](uid_t uid) {
            return uid == device_uid ? LocalUser{"anna", role} : LocalUser{"other", Role::guest};
        });
    }
    static constexpr uid_t device_uid = 2000;
    Role role = Role::user;
};

TEST_F(IdentityTest, LoginIsOfBothConnectionsAndTheirRightsFollow) {
    TestMember one(sessions, tcp_peer(true)), two(sessions, tcp_peer(true));
    hello(one);
    hello(two);
    EXPECT_TRUE(two.is_network_guest());
    sessions.log_in(one.session(), "anna", Role::user, "anna");
    EXPECT_EQ(two.session().viewer.user, "anna");
    EXPECT_FALSE(two.is_network_guest());
    EXPECT_TRUE(two.session().is_settled());
    EXPECT_EQ(one.changes, 1);
    EXPECT_EQ(two.changes, 2);
    sessions.log_out(two.session());
    EXPECT_EQ(one.session().viewer.role, Role::guest);
    EXPECT_TRUE(one.is_network_guest());
    EXPECT_FALSE(one.session().is_settled());
    EXPECT_EQ(one.changes, 2);
}

TEST_F(IdentityTest, ConnectionThatLeavesItsSessionLeavesTheLoginThere) {
    TestMember one(sessions, tcp_peer(true)), two(sessions, tcp_peer(true));
    hello(one);
    hello(two);
    sessions.log_in(one.session(), "anna", Role::admin, "anna");
    EXPECT_FALSE(hello(two, "requests", other_secret));
    EXPECT_EQ(two.session().viewer.role, Role::guest);
    EXPECT_TRUE(two.is_network_guest());
    EXPECT_EQ(two.changes, 3);
    EXPECT_EQ(one.session().viewer.user, "anna");
}

TEST_F(IdentityTest, LogOutTakesWhatThePeerAloneWasGranted) {
    TestMember own(sessions), device(sessions, local_peer(device_uid));
    EXPECT_EQ(own.session().viewer.role, Role::admin);
    EXPECT_EQ(device.session().viewer.role, Role::user);
    EXPECT_TRUE(device.session().viewer.user.empty());
    sessions.log_out(own.session());
    sessions.log_out(device.session());
    EXPECT_EQ(own.session().viewer.role, Role::guest);
    EXPECT_EQ(device.session().viewer.role, Role::guest);
    sessions.follow({"anna", false, Role::admin});
    EXPECT_EQ(device.session().viewer.role, Role::guest);
}

TEST_F(IdentityTest, SessionsFollowTheirAccount) {
    TestMember one(sessions, tcp_peer(true)), other(sessions, tcp_peer(true)), free(sessions);
    sessions.log_in(one.session(), "anna", Role::user, "anna");
    sessions.log_in(other.session(), "bert", Role::user, "bert");
    sessions.log_in(free.session(), "anna", Role::admin, {});
    sessions.follow({"anna", false, Role::guest});
    EXPECT_EQ(one.session().viewer.role, Role::guest);
    EXPECT_EQ(one.session().viewer.user, "anna");
    sessions.follow({"anna", true, Role::admin});
    EXPECT_EQ(one.session().viewer.role, Role::guest);
    EXPECT_TRUE(one.session().viewer.user.empty());
    EXPECT_TRUE(one.is_network_guest());
    sessions.follow({"anna", false, Role::admin});
    EXPECT_EQ(one.session().viewer.role, Role::guest);
    EXPECT_EQ(other.session().viewer.user, "bert");
    EXPECT_EQ(free.session().viewer.role, Role::admin);
}

TEST_F(IdentityTest, LocalUsersFollowTheAccountOfTheirName) {
    TestMember device(sessions, local_peer(device_uid)), other(sessions, local_peer(device_uid + 1));
    role = Role::admin;
    sessions.follow({"anna", false, Role::admin});
    EXPECT_EQ(device.session().viewer.role, Role::admin);
    EXPECT_EQ(other.session().viewer.role, Role::guest);
    role = Role::guest;
    sessions.follow({"anna", true, Role::admin});
    EXPECT_EQ(device.session().viewer.role, Role::guest);
    role = Role::user;
    sessions.follow({"anna", false, Role::user});
    EXPECT_EQ(device.session().viewer.role, Role::user);
}

TEST_F(IdentityTest, ChangesOfNamelessAccountsAreNobodys) {
    TestMember own(sessions);
    sessions.follow({"", true, Role::guest});
    sessions.follow({"", false, Role::guest});
    EXPECT_EQ(own.session().viewer.role, Role::admin);
}

TEST(Identity, NamesOfThePasswordFile) {
    const std::string path = testing::TempDir() + "ravd-passwd-" + std::to_string(getpid());
    std::ofstream(path) << "root:x:0:0:root:/root:/bin/sh\n#anna:x:5:5::/:\nanna:x:2000:2000::/:\nbert:x:2000:1::/:\n"
                           "lost:x:65534:65534::/:\n";
    EXPECT_EQ(name_of_local_user(0, path.c_str()), "root");
    EXPECT_EQ(name_of_local_user(2000, path.c_str()), "anna");
    EXPECT_EQ(name_of_local_user(2001, path.c_str()), "");
    EXPECT_EQ(name_of_local_user(65534, path.c_str()), "");
    EXPECT_EQ(name_of_local_user(static_cast<uid_t>(-1), path.c_str()), "");
    EXPECT_EQ(name_of_local_user(0, (path + ".missing").c_str()), "");
    unlink(path.c_str());
}

TEST(Identity, PeersByName) {
    EXPECT_EQ(peer_name(local_peer(1000)), "uid 1000");
    Peer peer = tcp_peer();
    peer.address = {192, 0, 2, 7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4};
    EXPECT_EQ(peer_name(peer), "192.0.2.7");
    peer.address = {0x20, 1, 0xd, 0xb8, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 6};
    EXPECT_EQ(peer_name(peer), "2001:db8:0:1::/64");
}

TEST(Identity, RightsBeforeALogin) {
    EXPECT_EQ(viewer_of_peer(local_peer(0), test_uid).role, Role::admin);
    EXPECT_EQ(viewer_of_peer(local_peer(test_uid), test_uid).role, Role::admin);
    EXPECT_EQ(viewer_of_peer(local_peer(test_uid + 1), test_uid).role, Role::guest);
    EXPECT_EQ(viewer_of_peer(local_peer(static_cast<uid_t>(-1)), test_uid).role, Role::guest);
    Peer remote = tcp_peer(true);
    remote.uid = 0;
    EXPECT_EQ(viewer_of_peer(remote, 0).role, Role::guest);
    EXPECT_TRUE(viewer_of_peer(local_peer(0), test_uid).user.empty());
}

}  // namespace
}  // namespace ravd
