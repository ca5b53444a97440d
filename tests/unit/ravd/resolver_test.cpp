// A resolver that goes while its questions are on their way: nobody is told, and once the loop has gone round nothing
// of it is left (which the address checks of the build see).
#include "ravd/probes/resolver.h"

#include <memory>
#include <string>

#include <event2/event.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace ravd {

namespace {

class ResolverTest : public testing::Test {
 protected:
    ResolverTest() {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(server_, reinterpret_cast<sockaddr *>(&address), size), 0);
        EXPECT_EQ(getsockname(server_, reinterpret_cast<sockaddr *>(&address), &size), 0);
        resolver_ = std::make_unique<Resolver>(base_, 0);
        const std::string name = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
        EXPECT_EQ(evdns_base_nameserver_ip_add(resolver_->dns(), name.c_str()), 0);
    }
    ~ResolverTest() override {
        resolver_.reset();
        go_round();
        event_base_free(base_);
        close(server_);
    }

    void go_round() { event_base_loop(base_, EVLOOP_NONBLOCK); }
    // Answers one question: there is no such name.
    void answer_one() {
        pollfd asked = {server_, POLLIN, 0};
        ASSERT_EQ(poll(&asked, 1, 10'000), 1);
        char message[512];
        sockaddr_storage from = {};
        socklen_t size = sizeof from;
        const ssize_t length =
            recvfrom(server_, message, sizeof message, 0, reinterpret_cast<sockaddr *>(&from), &size);
        ASSERT_GT(length, 12);
        message[2] = static_cast<char>(0x81);
        message[3] = static_cast<char>(0x83);
        EXPECT_EQ(sendto(server_, message, static_cast<size_t>(length), 0, reinterpret_cast<sockaddr *>(&from), size),
                  length);
    }
    void ask_host(const Resolver::OnAddresses &told) {
        evutil_addrinfo hints = {};
        hints.ai_family = AF_UNSPEC;
        hints.ai_socktype = SOCK_DGRAM;
        resolver_->ask_host("name.test", hints, told);
    }

    int server_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    event_base *base_ = event_base_new();
    std::unique_ptr<Resolver> resolver_;
};

TEST_F(ResolverTest, NobodyIsToldOfQuestionsThatWereDropped) {
    for (const int family : {AF_INET, AF_INET6})
        resolver_->ask_records("name.test", family, [](int, const void *, int) { FAIL(); });
    ask_host([](const evutil_addrinfo *) { FAIL(); });
    go_round();
    resolver_.reset();
}

TEST_F(ResolverTest, NobodyIsToldOfAnAnswerThatHasArrivedMeanwhile) {
    resolver_->ask_records("name.test", AF_INET, [](int, const void *, int) { FAIL(); });
    go_round();
    answer_one();
    resolver_.reset();
    go_round();
}

TEST_F(ResolverTest, AnAnswerMayLetTheResolverGo) {
    bool told = false;
    const auto let_go = [&] {
        EXPECT_FALSE(told);
        told = true;
        resolver_.reset();
        event_base_loopbreak(base_);
    };
    for (const int family : {AF_INET, AF_INET6})
        resolver_->ask_records("name.test", family, [&](int result, const void *, int count) {
            EXPECT_EQ(result, DNS_ERR_NOTEXIST);
            EXPECT_EQ(count, 0);
            let_go();
        });
    go_round();
    answer_one();
    event_base_dispatch(base_);
    EXPECT_TRUE(told);
}

TEST_F(ResolverTest, AHostThatHasNoAddressMayLetItGoToo) {
    bool told = false;
    ask_host([&](const evutil_addrinfo *list) {
        EXPECT_EQ(list, nullptr);
        told = true;
        resolver_.reset();
        event_base_loopbreak(base_);
    });
    go_round();
    answer_one();
    answer_one();
    event_base_dispatch(base_);
    EXPECT_TRUE(told);
}

}  // namespace

}  // namespace ravd
