// Requests and replies against a scripted daemon.
#include <errno.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/fake_daemon.h"
#include "tests/unit/libglobal/client.h"

namespace {

using test::Client;
using test::FakeDaemon;
using test::Gate;
using test::Peer;
using Over = FakeDaemon::Over;

class OverBoth : public testing::TestWithParam<Over> {};
INSTANTIATE_TEST_SUITE_P(Exchange, OverBoth, testing::Values(Over::unix_socket, Over::tcp),
                         [](const auto &tested) { return tested.param == Over::tcp ? "tcp" : "unix"; });

TEST_P(OverBoth, ARequestGetsItsReplyAndHelloGoesFirst) {
    FakeDaemon daemon(test::answer_all({{"Get", R"({"a":1})"}}), GetParam());
    const Client client(daemon.destination());
    EXPECT_EQ(client.ask("Get"), R"({"a":1})");
    EXPECT_EQ(client.error(), 0);
    const auto lines = daemon.lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(test::method_of(lines[0]), "Hello");
    json_auto_t *hello = json_loads(test::params_of(lines[0]).c_str(), 0, nullptr);
    EXPECT_EQ(strspn(json_string_value(json_object_get(hello, "Session")), "0123456789abcdef"), 32U);
    EXPECT_STREQ(json_string_value(json_object_get(hello, "Role")), "requests");
    EXPECT_STREQ(json_string_value(json_object_get(hello, "Client")), "ravc 0.2.1");
    EXPECT_EQ(lines[1], R"({"jsonrpc":"2.0","method":"Get","id":1})");
}

TEST(Exchange, HelloGoesAgainWhenTheEventsBitHasChanged) {
    FakeDaemon daemon(test::answer_all());
    const Client client(daemon.destination());
    client.ask("A");
    client.ask("B");
    rv_jrpcapi_set_flags(client, RV_JRPCAPI_EVENTS);
    client.ask("C");
    const auto lines = daemon.lines();
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(test::method_of(lines[3]), "Hello");
    EXPECT_NE(lines[3].find(R"("Role":"events")"), std::string::npos);
}

TEST(Exchange, BothConnectionsOfAProcessHaveOneSession) {
    FakeDaemon daemon(test::answer_all());
    const Client requests(daemon.destination()), events(daemon.destination());
    requests.ask("A");
    events.ask("B");
    EXPECT_EQ(daemon.lines()[0], daemon.lines()[2]);
}

TEST(Exchange, IdsGoOnAcrossReconnects) {
    FakeDaemon daemon([](Peer &peer) {
        for (int i = 0; i < 2; i++)
            if (const auto request = peer.request()) peer.reply(*request, test::id_of(*request));
    });
    const Client client(daemon.destination());
    EXPECT_EQ(client.ask("A"), "1");
    EXPECT_EQ(client.ask("A"), "2");
    std::string third = client.ask("A");  // finds the connection closed, now or at its first read
    if (third == "-7" || third == "-6") third = client.ask("A");
    EXPECT_EQ(third, "4");
}

TEST(Exchange, ARawIdGoesOutAsItStands) {
    FakeDaemon daemon(test::answer_all());
    const Client client(daemon.destination());
    for (const char *id : {"\"x\"", "null", "1", "{\"a\":[1.5]}", "-9223372036854775808"}) {
        const auto msg =
            test::raw_request((std::string(R"({"id":)") + id + R"(,"method":"M","jsonrpc":"2.0"})").c_str());
        EXPECT_EQ(client.exec(msg), 0) << id;
        EXPECT_EQ(rv_jrpcmsg_typeof(msg.get()), RV_JRPCMSG_RESULT) << id;
        EXPECT_EQ(test::id_of(daemon.lines().back()), id);
    }
}

TEST(Exchange, ALateReplyIsDropped) {
    Gate abandoned;
    FakeDaemon daemon([&](Peer &peer) {
        const auto first = peer.request();
        abandoned.wait();
        peer.reply(*first, "\"late\"");
        while (const auto next = peer.request()) peer.reply(*next, "\"right\"");
    });
    const Client client(daemon.destination());
    rv_jrpcapi_set_timeout(client, 20);
    EXPECT_EQ(client.ask("A"), "-8");
    rv_jrpcapi_set_timeout(client, 20000);
    abandoned.open();
    EXPECT_EQ(client.ask("B"), "\"right\"");
}

TEST(Exchange, ALateReplyWithTheIdOfTheAwaitedRequestIsDropped) {
    Gate abandoned;
    FakeDaemon daemon([&](Peer &peer) {
        const auto first = peer.request();
        abandoned.wait();
        peer.reply(*first, "\"late\"");
        while (const auto next = peer.request()) peer.reply(*next, "\"right\"");
    });
    const Client client(daemon.destination());
    rv_jrpcapi_set_timeout(client, 20);
    EXPECT_EQ(client.ask("A"), "-8");  // id 1
    rv_jrpcapi_set_timeout(client, 20000);
    abandoned.open();
    const auto msg = test::raw_request(R"({"jsonrpc":"2.0","method":"M","id":1})");
    EXPECT_EQ(client.exec(msg), 0);
    EXPECT_EQ(test::compact(rv_jrpcmsg_get_result_json(msg.get())), "\"right\"");
}

TEST(Exchange, ARequestThatTheDaemonCouldNotReadIsAnsweredWithTheIdNull) {
    FakeDaemon daemon([](Peer &peer) {
        peer.request();
        peer.send(test::error_line("null", -32700, "Parse error"));
        peer.await_close();
    });
    const Client client(daemon.destination());
    EXPECT_EQ(client.ask("A"), "-32700");
}

TEST(Exchange, AnAnswerBeforeTheWholeRequestWasReadCounts) {
    FakeDaemon daemon([](Peer &peer) {
        peer.bytes(1000);
        peer.send(test::error_line("null", -32600, "Too large"));
    });
    const Client client(daemon.destination());
    const auto msg = test::owned(
        rv_jrpcmsg_create_new("Big", json_pack("{s:o}", "A", json_string(std::string(8 << 20, 'x').c_str()))));
    client.exec(msg);
    EXPECT_EQ(rv_jrpcmsg_get_error_code(msg.get()), -32600);
    EXPECT_EQ(client.fd(), -1);
}

TEST(Exchange, EveryExecFirstClearsWhatTheMessageHeld) {
    FakeDaemon daemon([](Peer &peer) {
        peer.reply(*peer.request(), R"({"Status":0})");
        peer.request();
    });
    const Client client(daemon.destination());
    const auto msg = test::request("A");
    ASSERT_EQ(client.exec(msg), 0);
    ASSERT_EQ(rv_jrpcmsg_typeof(msg.get()), RV_JRPCMSG_RESULT);
    EXPECT_EQ(client.exec(msg), RV_SOCKET_ERR_LOST);
    EXPECT_EQ(rv_jrpcmsg_typeof(msg.get()), RV_JRPCMSG_ERROR);
    EXPECT_EQ(rv_jrpcmsg_get_error_code(msg.get()), RV_SOCKET_ERR_LOST);
    EXPECT_EQ(rv_jrpcmsg_get_result_json(msg.get()), nullptr);
    EXPECT_STREQ(rv_jrpcmsg_get_error_message(msg.get()), rv_socket_strerror(RV_SOCKET_ERR_LOST));
}

TEST(Exchange, AMessageThatIsNoRequestCanNotBeExecuted) {
    FakeDaemon daemon(test::answer_all());
    const Client client(daemon.destination());
    const auto event = test::owned(rv_jrpcmsg_create_event_new(16, nullptr));
    EXPECT_EQ(client.exec(event), RV_SOCKET_ERR_OS - EINVAL);
    EXPECT_EQ(rv_jrpcmsg_get_error_code(event.get()), RV_SOCKET_ERR_OS - EINVAL);
}

TEST_P(OverBoth, ACloseAtEveryByteOfTheRequestIsNeverSafeToRepeatAfterTheFirstOne) {
    FakeDaemon learn(test::answer_all(), GetParam());
    const Client learner(learn.destination());
    learner.ask("Add");
    const size_t hello = learn.lines()[0].size() + 1, request = learn.lines()[1].size() + 1;
    for (size_t offset = 1; offset <= request; offset++) {
        std::atomic<int> executed{0};
        FakeDaemon daemon(
            [&](Peer &peer) {
                peer.bytes(hello + offset);
                if (offset == request) executed++;
            },
            GetParam());
        const Client client(daemon.destination());
        EXPECT_EQ(client.ask("Add"), "-6") << offset;
        EXPECT_EQ(client.error(), RV_SOCKET_ERR_LOST);
        EXPECT_EQ(client.fd(), -1);
        EXPECT_LE(executed, 1);
    }
}

TEST_P(OverBoth, AConnectionFoundClosedBeforeTheFirstByteIsSafeToRepeat) {
    FakeDaemon daemon(
        [](Peer &peer) {
            if (const auto request = peer.request()) peer.reply(*request, "1");
            if (peer.number() == 1) peer.send(test::event_line(16, "\"kept\""));
        },
        GetParam());
    const Client client(daemon.destination());
    EXPECT_EQ(client.ask("A"), "1");
    ASSERT_TRUE(test::await_hang_up(client.fd()));
    const auto msg = test::request("B");
    EXPECT_EQ(client.exec(msg), RV_SOCKET_ERR_CLOSED);
    EXPECT_EQ(rv_jrpcmsg_get_error_code(msg.get()), RV_SOCKET_ERR_CLOSED);
    EXPECT_EQ(client.exec(msg), 0);
    EXPECT_EQ(rv_jrpcmsg_typeof(msg.get()), RV_JRPCMSG_RESULT);
    EXPECT_EQ(daemon.requests().size(), 2U);
    EXPECT_EQ(rv_jrpcmsg_get_event_code(test::owned(rv_jrpcapi_recv(client)).get()), 16U);
}

TEST(Exchange, ADrippingDaemonDoesNotOutlastTheOneDeadline) {
    FakeDaemon daemon([](Peer &peer) {
        peer.request();
        pollfd gone{.fd = peer.fd(), .events = POLLRDHUP, .revents = 0};
        for (peer.send(R"({"jsonrpc":"2.0","id":1,"result":")"); poll(&gone, 1, 5) == 0;) peer.send("x");
    });
    const Client client(daemon.destination());
    rv_jrpcapi_set_timeout(client, 100);
    EXPECT_EQ(client.ask("A"), "-8");  // a deadline that began anew at each byte would never come
}

TEST(Exchange, AFloodOfEventsDoesNotOutlastTheOneDeadline) {
    FakeDaemon daemon([](Peer &peer) {
        peer.request();
        const std::string event = test::event_line(16, "1");
        pollfd gone{.fd = peer.fd(), .events = POLLRDHUP, .revents = 0};
        while (poll(&gone, 1, 0) == 0) peer.send(event);
    });
    const Client client(daemon.destination());
    rv_jrpcapi_set_timeout(client, 100);
    EXPECT_EQ(client.ask("A"), "-8");
}

TEST(Exchange, AFloodOfEventsBeforeTheRequestDoesNotOutlastTheDeadlineEither) {
    Gate flooding;
    FakeDaemon daemon(
        [&](Peer &peer) {
            std::string events;
            while (events.size() < size_t{1} << 20) events += test::event_line(16, "1");
            pollfd gone{.fd = peer.fd(), .events = POLLRDHUP, .revents = 0};
            for (int i = 0; i < 300 && poll(&gone, 1, 0) == 0; i++) {  // it ends, should nobody else end it
                if (i == 1) flooding.open();
                peer.send(events);
            }
        },
        Over::tcp);
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_connect(client), 0);
    ASSERT_TRUE(flooding.wait());
    rv_jrpcapi_set_timeout(client, 100);
    EXPECT_EQ(client.ask("A"), "-8");
}

TEST(Exchange, ATimeoutOfZeroPolls) {
    FakeDaemon daemon([](Peer &peer) { peer.await_close(); });
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_connect(client), 0);
    rv_jrpcapi_set_timeout(client, 0);
    EXPECT_EQ(client.ask("A"), "-8");
    EXPECT_EQ(rv_jrpcapi_recv(client), nullptr);
    EXPECT_EQ(client.error(), RV_SOCKET_ERR_TIMEOUT);
}

TEST(Exchange, APartOfAReplyIsKeptAndGoneOnWith) {
    Gate go_on;
    FakeDaemon daemon([&](Peer &peer) {
        const auto first = peer.request();
        peer.send(R"({"jsonrpc":"2.0","id":1,"res)");
        go_on.wait();
        peer.send("ult\":\"late\"}\n");
        while (const auto next = peer.request()) peer.reply(*next, "\"right\"");
    });
    const Client client(daemon.destination());
    rv_jrpcapi_set_timeout(client, 50);
    EXPECT_EQ(client.ask("A"), "-8");
    go_on.open();
    rv_jrpcapi_set_timeout(client, 20000);
    EXPECT_EQ(client.ask("B"), "\"right\"");
}

rv_jrpcmsg *big_request_new(const char *method) {
    return rv_jrpcmsg_create_new(method, json_pack("{s:o}", "A", json_string(std::string(4 << 20, 'x').c_str())));
}

TEST(Exchange, APartlySentRequestIsFinishedBeforeTheNextOneLeaves) {
    Gate read_on;
    FakeDaemon daemon([&](Peer &peer) {
        read_on.wait();
        while (const auto request = peer.request()) peer.reply(*request, "\"" + test::method_of(*request) + "\"");
    });
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_connect(client), 0);
    const int small = 4096;
    setsockopt(client.fd(), SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
    rv_jrpcapi_set_timeout(client, 50);
    const auto big = test::owned(big_request_new("Big"));
    EXPECT_EQ(client.exec(big), RV_SOCKET_ERR_TIMEOUT);
    rv_jrpcapi_set_timeout(client, 50);
    EXPECT_EQ(client.ask("Withdrawn"), "-8");  // nothing of it has left: it is taken back
    read_on.open();
    rv_jrpcapi_set_timeout(client, 20000);
    EXPECT_EQ(client.ask("Next"), "\"Next\"");
    const auto requests = daemon.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(test::method_of(requests[0]), "Big");
    EXPECT_EQ(test::method_of(requests[1]), "Next");
}

TEST(Exchange, TenThousandEventsBeforeTheReplyAreBounded) {
    FakeDaemon daemon([](Peer &peer) {
        const auto request = peer.request();
        std::string events;
        for (int i = 0; i < 10000; i++) events += test::event_line(16, std::to_string(i));
        peer.send(events);
        peer.reply(*request, "\"right\"");
        peer.await_close();
    });
    const Client client(daemon.destination());
    EXPECT_EQ(client.ask("A"), "\"right\"");
    rv_jrpcapi_set_timeout(client, 0);
    size_t kept = 0;
    long long last = -1;
    while (const auto event = test::owned(rv_jrpcapi_recv(client))) {
        const long long number = json_integer_value(json_object_get(rv_jrpcmsg_get_params_json(event.get()), "Params"));
        EXPECT_TRUE(last < 0 || number == last + 1) << number;
        last = number;
        kept++;
    }
    EXPECT_EQ(last, 9999);
    EXPECT_GT(kept, 1000U);
    EXPECT_LE(kept * test::event_line(16, "1000").size(), 512U * 1024);
}

TEST(Exchange, GarbageClosesTheConnection) {
    for (const char *garbage : {"garbage\n", "[]\n", "{}\n", "\xff\n", "1\n", "{\"jsonrpc\":\"2.0\"}\n"}) {
        FakeDaemon daemon([garbage](Peer &peer) {
            peer.request();
            peer.send(garbage);
            peer.await_close();
        });
        const Client client(daemon.destination());
        EXPECT_EQ(client.ask("A"), "-10") << garbage;
        EXPECT_EQ(client.fd(), -1);
    }
}

TEST(Exchange, ADaemonThatClosesNeverRaisesSigpipe) {
    signal(SIGPIPE, SIG_DFL);  // it would end this process
    for (const Over over : {Over::unix_socket, Over::tcp}) {
        FakeDaemon daemon([](Peer &peer) { peer.bytes(100000); }, over);
        const Client client(daemon.destination());
        const auto big = test::owned(big_request_new("Big"));
        EXPECT_EQ(client.exec(big), RV_SOCKET_ERR_LOST);
        client.exec(big);
    }
}

TEST(Exchange, AFailedConnectionIsTheErrorOfTheRequest) {
    const test::TempDir dir;
    const Client client(dir.path() + "/none");
    const auto msg = test::request("A");
    EXPECT_EQ(client.exec(msg), RV_SOCKET_ERR_OS - ENOENT);
    EXPECT_EQ(rv_jrpcmsg_get_error_code(msg.get()), RV_SOCKET_ERR_OS - ENOENT);
    EXPECT_STREQ(rv_jrpcmsg_get_error_message(msg.get()), "No such file or directory");
}

}  // namespace
