// Pings and traces on the loopback interfaces. Where the system lets no echo request out the reports say so.
#include <optional>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include "ravd/probes/ping.h"
#include "ravd/probes/trace.h"

namespace ravd {

namespace {

SocketAddress address(const char *text) {
    SocketAddress result;
    auto &v4 = reinterpret_cast<sockaddr_in &>(result.storage);
    auto &v6 = reinterpret_cast<sockaddr_in6 &>(result.storage);
    if (inet_pton(AF_INET, text, &v4.sin_addr) == 1) {
        v4.sin_family = AF_INET;
        result.size = sizeof v4;
    } else {
        EXPECT_EQ(inet_pton(AF_INET6, text, &v6.sin6_addr), 1);
        v6.sin6_family = AF_INET6;
        result.size = sizeof v6;
    }
    return result;
}

class Probes : public testing::Test {
 protected:
    ~Probes() override { event_base_free(base_); }

    PingReport ping(const PingOrder &order) {
        std::optional<PingReport> result;
        const Ping ping(base_, order, [&](const PingReport &report) {
            result = report;
            event_base_loopbreak(base_);
        });
        event_base_dispatch(base_);
        return result.value_or(PingReport());
    }

    TraceReport trace(const TraceOrder &order) {
        std::optional<TraceReport> result;
        const Trace trace(base_, order, [&](const TraceReport &report) {
            result = report;
            event_base_loopbreak(base_);
        });
        event_base_dispatch(base_);
        return result.value_or(TraceReport());
    }

    event_base *base_ = event_base_new();
};

class OverLoopback : public Probes, public testing::WithParamInterface<const char *> {
 protected:
    void SetUp() override {
        EchoSocket socket;
        const SocketAddress destination = address(GetParam());
        if (!socket.open(destination)) GTEST_SKIP() << "the system lets no echo request out";
        if (!socket.send(1, 0)) GTEST_SKIP() << "no such interface here";
    }
};

TEST_P(OverLoopback, PingsAreAnswered) {
    for (const size_t size : {0U, 1U, 64U, 1472U}) {
        const PingReport report = ping({address(GetParam()), 5, 5000, size, 0});
        EXPECT_TRUE(report.allowed);
        EXPECT_EQ(report.successes, 5U) << size;
        EXPECT_EQ(report.failures, 0U) << size;
        EXPECT_LE(report.minimum_us, report.average_us);
        EXPECT_LE(report.average_us, report.maximum_us);
        EXPECT_GT(report.maximum_us, 0U);
    }
}

TEST_P(OverLoopback, TheWayIsOneHop) {
    const TraceReport report = trace({address(GetParam()), 2, 5000, 38, 0, 30});
    EXPECT_TRUE(report.reached);
    ASSERT_EQ(report.hops.size(), 1U);
    EXPECT_EQ(report.hops[0].address, GetParam());
    EXPECT_EQ(report.hops[0].times_us.size(), 2U);
    EXPECT_EQ(report.hops[0].times_us[0], report.response_us);
}

TEST_P(OverLoopback, TwoAtOnceGetTheirOwnAnswers) {
    int ended = 0;
    const auto count = [&](const PingReport &report) {
        EXPECT_EQ(report.successes, 50U);
        if (++ended == 2) event_base_loopbreak(base_);
    };
    const PingOrder order = {address(GetParam()), 50, 5000, 64, 0};
    const Ping first(base_, order, count), second(base_, order, count);
    event_base_dispatch(base_);
    EXPECT_EQ(ended, 2);
}

INSTANTIATE_TEST_SUITE_P(All, OverLoopback, testing::Values("127.0.0.1", "::1"),
                         [](const auto &test) { return std::string(test.index == 0 ? "IPv4" : "IPv6"); });

TEST_F(Probes, WhatIsTooLargeToLeaveFails) {
    const PingReport report = ping({address("127.0.0.1"), 3, 5000, 70000, 0});
    if (!report.allowed) GTEST_SKIP() << "the system lets no echo request out";
    EXPECT_EQ(report.successes, 0U);
    EXPECT_EQ(report.failures, 3U);
}

TEST_F(Probes, AnObjectThatGoesEarlyCallsNobody) {
    {
        const Ping ping(base_, {address("127.0.0.1"), 3, 5000, 64, 0}, [](const PingReport &) { FAIL(); });
        const Trace trace(base_, {address("127.0.0.1"), 3, 5000, 38, 0, 30}, [](const TraceReport &) { FAIL(); });
    }
    event_base_loop(base_, EVLOOP_NONBLOCK);
}

TEST(ProbeAddress, IsTextWithoutScope) {
    EXPECT_EQ(address("192.0.2.1").text(), "192.0.2.1");
    EXPECT_EQ(address("2001:db8::1").text(), "2001:db8::1");
}

}  // namespace

}  // namespace ravd
