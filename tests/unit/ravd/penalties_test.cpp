// How refused logins add up, with a clock that the tests turn.
#include "ravd/penalties.h"

#include <gtest/gtest.h>

#include "tests/unit/ravd/member.h"

namespace ravd {
namespace {

class PenaltiesTest : public testing::Test {
 protected:
    // One whole attempt. Returns false when it could not begin.
    bool refuse(const PeerKey &peer, std::string_view name = "admin") {
        if (!penalties.begin(peer)) return false;
        penalties.refused(peer, name);
        return true;
    }
    bool accept(const PeerKey &peer, std::string_view name = "admin") {
        if (!penalties.begin(peer)) return false;
        penalties.accepted(peer, name);
        return true;
    }
    void refuse_free(const PeerKey &peer) {
        for (int n = 0; n < 3; ++n) EXPECT_TRUE(refuse(peer)) << n;
        EXPECT_EQ(penalties.pause(peer), 0U);
    }

    ClientLimits limits = [] {
        ClientLimits each;
        each.login_free = 3;
        each.login_pause_ms = 5000;
        each.login_pause_max_ms = 60000;
        each.login_forget_ms = 100000;
        each.login_peers = 4;
        return each;
    }();
    uint64_t now = 1000;
    Penalties penalties{limits, [this] { return now; }};
    const PeerKey one = key_of(local_peer(1)), two = key_of(local_peer(2));
};

TEST_F(PenaltiesTest, ThePausesGrowUpToTheLongest) {
    refuse_free(one);
    for (const uint64_t pause : {5000U, 10000U, 20000U, 40000U, 60000U, 60000U}) {
        EXPECT_TRUE(refuse(one));
        EXPECT_EQ(penalties.pause(one), pause);
        EXPECT_FALSE(penalties.begin(one));
        now += pause - 1;
        EXPECT_EQ(penalties.pause(one), 1U);
        EXPECT_FALSE(penalties.begin(one));
        now += 1;
    }
}

TEST_F(PenaltiesTest, OnlyThePeerItselfPauses) {
    refuse_free(one);
    refuse(one);
    EXPECT_FALSE(penalties.begin(one));
    EXPECT_TRUE(penalties.begin(two));
    EXPECT_TRUE(penalties.begin(key_of(tcp_peer())));
}

TEST_F(PenaltiesTest, PeersAreToldApartByUserOrAddress) {
    Peer address = tcp_peer();
    address.address[0] = 1;
    const uid_t uid = 1;
    EXPECT_NE(key_of(address), key_of(local_peer(uid)));
    EXPECT_NE(key_of(address), key_of(tcp_peer()));
    EXPECT_EQ(key_of(tcp_peer()), key_of(tcp_peer(true)));
    EXPECT_NE(one, two);
}

TEST_F(PenaltiesTest, NoMoreAttemptsAtOnceThanRefusalsAreFree) {
    EXPECT_TRUE(penalties.begin(one) && penalties.begin(one) && penalties.begin(one));
    EXPECT_FALSE(penalties.begin(one));
    EXPECT_EQ(penalties.pause(one), 0U);
    penalties.refused(one, "admin");
    EXPECT_FALSE(penalties.begin(one));
    penalties.accepted(one, "admin");
    EXPECT_TRUE(penalties.begin(one) && penalties.begin(one));
    EXPECT_FALSE(penalties.begin(one));
}

TEST_F(PenaltiesTest, OneAtATimeOnceNoneIsFree) {
    refuse_free(one);
    EXPECT_TRUE(penalties.begin(one));
    EXPECT_FALSE(penalties.begin(one));
    penalties.cancelled(one);
    EXPECT_TRUE(penalties.begin(one));
}

TEST_F(PenaltiesTest, SuccessForgivesWhatWasRefusedUnderItsName) {
    refuse_free(one);
    EXPECT_TRUE(accept(one));
    EXPECT_EQ(penalties.peers(), 0U);
    refuse_free(one);
}

TEST_F(PenaltiesTest, SuccessUnderAnotherNameForgivesNothing) {
    refuse_free(one);
    EXPECT_TRUE(accept(one, "guest"));
    EXPECT_TRUE(refuse(one, "guest"));
    EXPECT_EQ(penalties.pause(one), 5000U);
    now += 5000;
    EXPECT_TRUE(accept(one, "guest"));
    EXPECT_TRUE(refuse(one));
    EXPECT_EQ(penalties.pause(one), 10000U);
}

TEST_F(PenaltiesTest, TheSameTextAsNameAndAsTokenIsOneTry) {
    for (int n = 0; n < 3; ++n) {
        EXPECT_TRUE(refuse(one, "text"));
        penalties.refused_token(one, "text");
        EXPECT_EQ(penalties.pause(one), 0U);
    }
    penalties.refused_token(one, "text");
    EXPECT_EQ(penalties.pause(one), 5000U);
}

TEST_F(PenaltiesTest, AnotherTextAsTokenIsAnotherTry) {
    refuse(one, "text");
    penalties.refused_token(one, "another");
    penalties.refused_token(one, "text");
    EXPECT_EQ(penalties.pause(one), 0U);
    penalties.refused_token(one, "a third");
    EXPECT_EQ(penalties.pause(one), 5000U);
}

TEST_F(PenaltiesTest, QuietPeersAreForgotten) {
    refuse_free(one);
    refuse(one);
    now += 5000 + limits.login_forget_ms - 1;
    refuse(one);
    EXPECT_EQ(penalties.pause(one), 10000U);
    now += 10000 + limits.login_forget_ms;
    refuse_free(one);
}

TEST_F(PenaltiesTest, AnAttemptMayOutliveTheRecord) {
    refuse_free(one);
    EXPECT_TRUE(penalties.begin(one));
    now += limits.login_forget_ms;
    penalties.refused(one, "admin");
    EXPECT_EQ(penalties.pause(one), 0U);
    EXPECT_TRUE(penalties.begin(one) && penalties.begin(one));
}

TEST_F(PenaltiesTest, TheTableIsBounded) {
    for (uid_t uid = 10; uid < 10000; ++uid) {
        ++now;
        EXPECT_TRUE(refuse(key_of(local_peer(uid))));
        EXPECT_LE(penalties.peers(), limits.login_peers);
    }
    EXPECT_TRUE(accept(one));
    EXPECT_LT(penalties.peers(), limits.login_peers);
}

TEST_F(PenaltiesTest, AttemptsUnderWayAreNotForgottenForRoom) {
    for (uid_t uid = 10; uid < 14; ++uid) EXPECT_TRUE(penalties.begin(key_of(local_peer(uid))));
    EXPECT_FALSE(penalties.begin(one));
    penalties.refused(key_of(local_peer(11)), "admin");
    EXPECT_TRUE(penalties.begin(one));
    EXPECT_EQ(penalties.peers(), limits.login_peers);
}

}  // namespace
}  // namespace ravd
