// Events shown while the program sleeps.
#include <algorithm>
#include <functional>

#include <gtest/gtest.h>

#include "rv/wait.h"
#include "tests/support/fake_daemon.h"
#include "tests/unit/libglobal/client.h"

namespace {

using test::Client;
using test::FakeDaemon;
using test::Peer;

// Sleeps in steps, as a listening program does, until done says so. False when it never did.
bool sleep_until(const std::function<bool()> &done) {
    const int64_t deadline = rv_deadline(20000);
    while (!done()) {
        if (rv_now_ms() >= deadline) return false;
        rv_sleep_ms(10);
    }
    return true;
}

TEST(Listen, EventsOfTheGroupsAskedForAreShownInTheDisplayForm) {
    FakeDaemon daemon([](Peer &peer) {
        peer.send(test::event_line(0, "{}") + test::event_line(16, R"({"a":{"b":1}})") + test::event_line(18, "1") +
                  "{\"jsonrpc\":\"2.0\",\"method\":\"Event\",\"params\":{\"Group\":17}}\n" +
                  test::event_line(17, "\"text\"") + "{\"jsonrpc\":\"2.0\",\"method\":\"Other\"}\n");
    });
    const Client client(daemon.destination(), RV_JRPCAPI_EVENTS);
    const uint32_t groups[] = {0, 16, 17};
    testing::internal::CaptureStdout();
    ASSERT_EQ(rv_jrpcapi_connect(client), 0);
    rv_jrpcapi_show_events(client, groups, 3);
    EXPECT_TRUE(sleep_until([&] { return client.fd() < 0; }));
    rv_jrpcapi_show_events(client, nullptr, 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\nEVENT 16:\n{\n    \"a\": {\n        \"b\": 1\n    }\n}\n\nEVENT 17:\n\nEVENT 17:\n\"text\"\n");
}

TEST(Listen, EventsThatWereKeptBeforeAreShownToo) {
    FakeDaemon daemon([](Peer &peer) {
        const auto request = peer.request();
        peer.send(test::event_line(16, "1"));
        peer.reply(*request, "{}");
        peer.await_close();
    });
    const Client client(daemon.destination());
    EXPECT_EQ(client.ask("A"), "{}");
    const uint32_t group = 16;
    testing::internal::CaptureStdout();
    rv_jrpcapi_show_events(client, &group, 1);
    EXPECT_EQ(rv_sleep_ms(0), 0);
    rv_jrpcapi_show_events(client, nullptr, 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\nEVENT 16:\n1\n");
}

TEST(Listen, AfterARestartOfTheDaemonBothConnectionsAreMadeAgainWithLoginAndGroups) {
    FakeDaemon daemon(test::answer_all());
    const Client requests(daemon.destination()), events(daemon.destination(), RV_JRPCAPI_EVENTS);
    ASSERT_EQ(rv_jrpcapi_login(requests, "admin", "secret"), 0);
    ASSERT_EQ(requests.exec(test::owned(rv_jrpcmsg_cmd_join_group(16))), 0);
    ASSERT_EQ(events.exec(test::owned(rv_jrpcmsg_cmd_join_group(4))), 0);
    const uint32_t group = 16;
    rv_jrpcapi_show_events(requests, &group, 1);
    rv_jrpcapi_show_events(events, &group, 1);
    daemon.stop();
    EXPECT_TRUE(sleep_until([&] { return requests.fd() < 0 && events.fd() < 0; }));
    const size_t before = daemon.lines().size();
    daemon.start();
    EXPECT_TRUE(sleep_until([&] { return daemon.lines().size() >= before + 5; }));
    auto lines = daemon.lines();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(before));
    const auto count = [&](const std::string &part) {
        return std::count_if(lines.begin(), lines.end(),
                             [&](const std::string &line) { return line.find(part) != std::string::npos; });
    };
    EXPECT_EQ(count(R"("Role":"requests")"), 1);
    EXPECT_EQ(count(R"("Role":"events")"), 1);
    EXPECT_EQ(count(R"("Password":"secret")"), 1);
    EXPECT_EQ(count(R"({"Group":16})"), 1);
    EXPECT_EQ(count(R"({"Group":4})"), 1);
    EXPECT_EQ(requests.ask("After"), "{}");
}

TEST(Listen, AConnectionOverTcpComesBackThroughShortSleeps) {
    FakeDaemon daemon(
        [&](Peer &peer) {
            peer.line();
            if (peer.number() == 2) peer.send(test::event_line(16, "2"));
            if (peer.number() > 2) peer.await_close();
        },
        FakeDaemon::Over::tcp);
    const Client client(daemon.destination(), RV_JRPCAPI_EVENTS);
    const uint32_t group = 16;
    testing::internal::CaptureStdout();
    rv_jrpcapi_show_events(client, &group, 1);
    EXPECT_TRUE(sleep_until([&] { return daemon.accepted() >= 3; }));  // then all of the second one was read
    rv_jrpcapi_show_events(client, nullptr, 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\nEVENT 16:\n2\n");
}

TEST(Listen, ASleepEndsAlsoWhileTheDaemonIsAway) {
    const test::TempDir dir;
    const Client client(dir.path() + "/none");
    const uint32_t group = 16;
    rv_jrpcapi_show_events(client, &group, 1);
    for (int i = 0; i < 20; i++) EXPECT_EQ(rv_sleep_ms(10), 0);
    rv_jrpcapi_show_events(client, nullptr, 0);
    EXPECT_EQ(client.fd(), -1);
}

}  // namespace
