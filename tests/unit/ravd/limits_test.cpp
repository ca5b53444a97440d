// ClientLimits by name, counts of connections, addresses that count as one, and the log's escaping.
#include "ravd/limits.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include "ravd/admission.h"
#include "ravd/listener.h"
#include "ravd/log.h"
#include "tests/unit/ravd/member.h"

namespace ravd {
namespace {

TEST(LimitsTest, AreSetByName) {
    ClientLimits limits;
    EXPECT_EQ(set_limit(limits, "partial-ms=250"), "");
    EXPECT_EQ(limits.partial_ms, 250U);
    EXPECT_EQ(set_limit(limits, "guests=0"), "");
    EXPECT_EQ(limits.guests, 0U);
    EXPECT_NE(describe_limits(limits).find("  partial-ms=250\n"), std::string::npos);
}

TEST(LimitsTest, RefuseWhatTheyDoNotKnow) {
    const ClientLimits defaults;
    for (const char *text : {"", "=", "=1", "bogus=1", "guests", "guests=", "guests=x", "guests=1x", "guests=-1",
                             "guests= 1", "partial-ms=0", "guests=99999999999999999999", "descriptors-percent=101"}) {
        ClientLimits limits;
        EXPECT_NE(set_limit(limits, text), "") << text;
        EXPECT_EQ(describe_limits(limits), describe_limits(defaults)) << text;
    }
}

class AdmissionTest : public testing::Test {
 protected:
    static Peer from(const char *address) {
        Peer peer = tcp_peer();
        sockaddr_storage storage = {};
        if (auto &v4 = reinterpret_cast<sockaddr_in &>(storage); inet_pton(AF_INET, address, &v4.sin_addr) == 1) {
            storage.ss_family = AF_INET;
        } else {
            inet_pton(AF_INET6, address, &reinterpret_cast<sockaddr_in6 &>(storage).sin6_addr);
            storage.ss_family = AF_INET6;
        }
        peer.address = address_key(storage);
        return peer;
    }
    bool admits(const Peer &peer) { return admission.admit(peer) == nullptr; }

    ClientLimits limits = [] {
        ClientLimits few;
        few.per_uid = 2;
        few.guests = 3;
        few.guests_per_address = 2;
        return few;
    }();
    Admission admission{limits, 6};
};

TEST_F(AdmissionTest, OfOneUser) {
    EXPECT_TRUE(admits(local_peer(1)) && admits(local_peer(1)));
    EXPECT_FALSE(admits(local_peer(1)));
    EXPECT_TRUE(admits(local_peer(2)));
    admission.release(local_peer(1), false);
    EXPECT_TRUE(admits(local_peer(1)));
    EXPECT_FALSE(admits(local_peer(1)));
}

TEST_F(AdmissionTest, OfGuests) {
    EXPECT_TRUE(admits(from("192.0.2.1")) && admits(from("192.0.2.1")));
    EXPECT_FALSE(admits(from("192.0.2.1")));
    EXPECT_TRUE(admits(from("192.0.2.2")));
    EXPECT_FALSE(admits(from("192.0.2.3")));
    admission.release(from("192.0.2.2"), true);
    EXPECT_FALSE(admits(from("192.0.2.1")));
    EXPECT_TRUE(admits(from("192.0.2.3")));
}

TEST_F(AdmissionTest, WhoHasLoggedInIsNoGuest) {
    const Peer one = from("192.0.2.1");
    EXPECT_TRUE(admits(one) && admits(one));
    EXPECT_FALSE(admits(one));
    admission.discount_guest(one);
    EXPECT_TRUE(admits(one));
    EXPECT_FALSE(admits(one));
    admission.count_guest(one);  // three of two
    admission.release(one, true);
    EXPECT_FALSE(admits(one));
    admission.discount_guest(one);
    admission.release(one, false);
    EXPECT_TRUE(admits(one));
    admission.release(one, true);
    admission.release(one, true);
    EXPECT_TRUE(admits(one) && admits(from("192.0.2.2")) && admits(from("192.0.2.3")));
}

TEST_F(AdmissionTest, InAll) {
    for (uid_t uid = 0; uid < 6; ++uid) EXPECT_TRUE(admits(local_peer(uid)));
    EXPECT_FALSE(admits(local_peer(6)));
    EXPECT_FALSE(admits(from("192.0.2.1")));
    admission.release(local_peer(0), false);
    EXPECT_TRUE(admits(from("192.0.2.1")));
}

TEST_F(AdmissionTest, AddressesThatCountAsOne) {
    EXPECT_EQ(from("2001:db8::1").address, from("2001:db8::2").address);
    EXPECT_NE(from("2001:db8::1").address, from("2001:db8:0:1::1").address);
    EXPECT_NE(from("192.0.2.1").address, from("192.0.2.2").address);
    EXPECT_NE(from("192.0.2.1").address, from("c000:201::").address);
}

TEST(LogTest, OneLineOfPrintableCharacters) {
    testing::internal::CaptureStderr();
    log_error("%s", "a\x1b[31m\n\xc2\x9bmé\x7f");
    log_debug("left out");
    log_info("%s", std::string(5000, 'x').c_str());
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(text.substr(0, text.find('\n')), "<3>a\\x1b[31m\\x0a\\xc2\\x9bm\\xc3\\xa9\\x7f");
    EXPECT_EQ(text.find("left out"), std::string::npos);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
    EXPECT_LT(text.size(), 2200U);
}

}  // namespace
}  // namespace ravd
