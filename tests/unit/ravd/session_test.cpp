// Which connections share a session, which rights it has, and where its events go.
#include "ravd/session.h"

#include <memory>

#include <gtest/gtest.h>

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
    EXPECT_EQ(one.settled_count, 1);
    EXPECT_EQ(two.settled_count, 1);
    one.leave();
    TestMember three(sessions, tcp_peer());
    hello(three);
    EXPECT_EQ(three.settled_count, 1);
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
