// Receiving and sending without a reply.
#include <errno.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "tests/support/fake_daemon.h"
#include "tests/unit/libglobal/client.h"

namespace {

using test::Client;
using test::FakeDaemon;
using test::Gate;
using test::owned;
using test::Peer;

TEST(Receive, AHundredEventsOfOneWriteAreGivenInOrder) {
    FakeDaemon daemon([](Peer &peer) {
        std::string events;
        for (unsigned i = 1; i <= 100; i++) events += test::event_line(i, "{}");
        peer.send(events);
        peer.await_close();
    });
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_connect(client), 0);
    unsigned got = 0;
    ASSERT_TRUE(test::await_input(client.fd()));
    do {
        const auto event = owned(rv_jrpcapi_recv(client));
        ASSERT_NE(event, nullptr);
        EXPECT_EQ(rv_jrpcmsg_get_event_code(event.get()), ++got);
    } while (got < 100);
    EXPECT_EQ(rv_jrpcapi_pending(client), 0);
}

TEST(Receive, PendingTellsOfMessagesThatPollDoesNotSee) {
    FakeDaemon daemon([](Peer &peer) {
        peer.send(test::event_line(1, "1") + test::event_line(2, "2"));
        peer.await_close();
    });
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_connect(client), 0);
    EXPECT_EQ(rv_jrpcapi_pending(client), 0);
    owned(rv_jrpcapi_recv(client));
    EXPECT_EQ(rv_jrpcapi_pending(client), 1);
    owned(rv_jrpcapi_recv(client));
    EXPECT_EQ(rv_jrpcapi_pending(client), 0);
}

TEST(Receive, APartOfAMessageIsGivenBackAtOnceAndKept) {
    Gate seen;
    const std::string event = test::event_line(16, R"({"a":1})");
    FakeDaemon daemon([&](Peer &peer) {
        peer.send(event.substr(0, 10));
        seen.wait();
        peer.send(event.substr(10));
        peer.await_close();
    });
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_connect(client), 0);
    rv_jrpcapi_set_timeout(client, -1);  // waiting for the rest would never end
    ASSERT_TRUE(test::await_input(client.fd()));
    EXPECT_EQ(rv_jrpcapi_recv(client), nullptr);
    EXPECT_EQ(client.error(), RV_SOCKET_ERR_NOTHING);
    seen.open();
    const auto whole = owned(rv_jrpcapi_recv(client));
    ASSERT_NE(whole, nullptr);
    EXPECT_EQ(test::compact(rv_jrpcmsg_get_params_json(whole.get())), R"({"Group":16,"Params":{"a":1}})");
}

TEST(Receive, NothingWithinTheTimeoutIsATimeout) {
    FakeDaemon daemon([](Peer &peer) { peer.await_close(); });
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_connect(client), 0);
    rv_jrpcapi_set_timeout(client, 10);
    EXPECT_EQ(rv_jrpcapi_recv(client), nullptr);
    EXPECT_EQ(client.error(), RV_SOCKET_ERR_TIMEOUT);
    EXPECT_NE(client.fd(), -1);
}

TEST(Receive, AClosedConnectionIsToldAfterItsLastMessage) {
    FakeDaemon daemon([](Peer &peer) { peer.send(test::event_line(16, "1")); });
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_connect(client), 0);
    EXPECT_NE(owned(rv_jrpcapi_recv(client)), nullptr);
    EXPECT_EQ(rv_jrpcapi_recv(client), nullptr);
    EXPECT_EQ(client.error(), RV_SOCKET_ERR_CLOSED);
    EXPECT_EQ(client.fd(), -1);
}

TEST(Receive, GarbageIsAnErrorAndEndsTheConnection) {
    FakeDaemon daemon([](Peer &peer) {
        peer.send("nonsense\n");
        peer.await_close();
    });
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_connect(client), 0);
    EXPECT_EQ(rv_jrpcapi_recv(client), nullptr);
    EXPECT_EQ(client.error(), RV_SOCKET_ERR_GARBAGE);
    EXPECT_EQ(client.fd(), -1);
}

TEST(Receive, LateRepliesAreNoMessagesAndNotificationsAre) {
    Gate abandoned;
    FakeDaemon daemon([&](Peer &peer) {
        const auto request = peer.request();
        abandoned.wait();
        peer.reply(*request, "{}");
        peer.send("{\"jsonrpc\":\"2.0\",\"method\":\"Other\"}\n");
        peer.await_close();
    });
    const Client client(daemon.destination());
    rv_jrpcapi_set_timeout(client, 20);
    EXPECT_EQ(client.ask("A"), "-8");
    abandoned.open();
    rv_jrpcapi_set_timeout(client, 20000);
    auto msg = owned(rv_jrpcapi_recv(client));
    while (!msg && client.error() == RV_SOCKET_ERR_NOTHING) msg = owned(rv_jrpcapi_recv(client));
    ASSERT_NE(msg, nullptr);
    EXPECT_EQ(rv_jrpcmsg_typeof(msg.get()), RV_JRPCMSG_NOTIFICATION);
}

TEST(Send, AnEventLeavesWithoutAnAnswer) {
    FakeDaemon daemon(test::answer_all());
    const Client client(daemon.destination(), RV_JRPCAPI_EVENTS);
    const auto event = owned(rv_jrpcmsg_create_event_new(20, json_pack("{s:i}", "a", 1)));
    EXPECT_EQ(rv_jrpcapi_send(client, event.get()), 0);
    ASSERT_TRUE(daemon.await_lines(2));
    EXPECT_EQ(daemon.lines()[1], R"({"jsonrpc":"2.0","method":"Event","params":{"Group":20,"Params":{"a":1}}})");
}

TEST(Send, TheReplyToARequestThatWasOnlySentIsDropped) {
    FakeDaemon daemon([](Peer &peer) {
        while (const auto request = peer.request()) peer.reply(*request, "\"" + test::method_of(*request) + "\"");
    });
    const Client client(daemon.destination());
    EXPECT_EQ(rv_jrpcapi_send(client, test::request("Sent").get()), 0);
    EXPECT_EQ(client.ask("Asked"), "\"Asked\"");
}

TEST(Send, AReplyLeavesAsItStandsAndIsNotAnswered) {
    FakeDaemon daemon([](Peer &peer) {
        peer.request();  // the reply
        while (const auto request = peer.request()) peer.reply(*request, "\"" + test::method_of(*request) + "\"");
    });
    const Client client(daemon.destination());
    const char reply[] = R"({"jsonrpc":"2.0","id":1,"result":{}})";
    EXPECT_EQ(rv_jrpcapi_send(client, test::raw_request(reply).get()), 0);
    EXPECT_EQ(client.ask("Asked"), "\"Asked\"");
    EXPECT_EQ(daemon.requests()[0], reply);
}

TEST(Send, AConnectionThatCanNotBeOpenedIsAnError) {
    const test::TempDir dir;
    const Client client(dir.path() + "/none");
    EXPECT_EQ(rv_jrpcapi_send(client, test::request("A").get()), RV_SOCKET_ERR_OS - ENOENT);
}

}  // namespace
