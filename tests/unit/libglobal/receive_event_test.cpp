// Receiving events of some groups, while all else is kept.
#include <gtest/gtest.h>

#include "tests/support/fake_daemon.h"
#include "tests/unit/libglobal/client.h"

namespace {

using test::Client;
using test::event_line;
using test::FakeDaemon;
using test::owned;
using test::Peer;

TEST(ReceiveEvent, OnlyThoseOfTheGroups) {
    FakeDaemon daemon([](Peer &peer) {
        peer.send(event_line(4, "1") + event_line(20, "2") + event_line(4, "3") + event_line(21, "4"));
        peer.await_close();
    });
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_connect(client), 0);
    const uint32_t groups[] = {21, 20};
    for (const uint32_t group : {20U, 21U})
        EXPECT_EQ(rv_jrpcmsg_get_event_code(owned(rv_jrpcapi_recv_event(client, groups, 2)).get()), group);
    rv_jrpcapi_set_timeout(client, 0);
    EXPECT_EQ(rv_jrpcapi_recv_event(client, groups, 2), nullptr);
    EXPECT_EQ(rv_jrpcapi_get_socket_err(client), RV_SOCKET_ERR_TIMEOUT);
    for (const int told : {1, 3}) {
        const auto event = owned(rv_jrpcapi_recv(client));
        EXPECT_EQ(json_integer_value(json_object_get(rv_jrpcmsg_get_params_json(event.get()), "Params")), told);
    }
}

TEST(ReceiveEvent, TheEndOfTheConnectionIsTold) {
    FakeDaemon daemon([](Peer &peer) { peer.send(event_line(4, "1") + event_line(20, "2")); });
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_connect(client), 0);
    const uint32_t group = 20;
    EXPECT_NE(owned(rv_jrpcapi_recv_event(client, &group, 1)), nullptr);
    EXPECT_EQ(rv_jrpcapi_recv_event(client, &group, 1), nullptr);
    EXPECT_EQ(rv_jrpcapi_get_socket_err(client), RV_SOCKET_ERR_CLOSED);
    EXPECT_EQ(rv_jrpcmsg_get_event_code(owned(rv_jrpcapi_recv(client)).get()), 4U) << "what was kept stays";
}

}  // namespace
