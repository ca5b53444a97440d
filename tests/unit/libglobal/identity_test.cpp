// Logging in, and doing it again after a reconnect.
#include <vector>

#include <gtest/gtest.h>

#include "rv/confapi.h"
#include "tests/support/fake_daemon.h"
#include "tests/unit/libglobal/client.h"

namespace {

using test::Client;
using test::FakeDaemon;
using test::Peer;

std::vector<std::string> methods(const std::vector<std::string> &lines) {
    std::vector<std::string> names;
    for (const auto &line : lines) names.push_back(test::method_of(line));
    return names;
}

using Names = std::vector<std::string>;

// Answers everything; closes right after the reply to "Drop".
void serve_until_drop(Peer &peer) {
    while (const auto request = peer.request()) {
        peer.reply(*request, "{}");
        if (test::method_of(*request) == "Drop") return;
    }
}

// Makes the daemon drop the connection, and waits until that is seen here.
void drop(const Client &client) {
    ASSERT_EQ(client.ask("Drop"), "{}");
    ASSERT_TRUE(test::await_hang_up(client.fd()));
    ASSERT_EQ(client.ask("Probe"), "-7");
}

TEST(Identity, ALoginSendsUserAndPasswordAndSetsTheFlag) {
    FakeDaemon daemon(test::answer_all());
    const Client client(daemon.destination());
    EXPECT_EQ(rv_jrpcapi_login(client, "admin", "secret"), 0);
    EXPECT_EQ(rv_jrpcapi_get_flags(client), RV_JRPCAPI_RELOGIN);
    EXPECT_EQ(test::params_of(daemon.requests()[0]), R"({"User":"admin","Password":"secret"})");
    EXPECT_EQ(rv_jrpcapi_login(client, "root", nullptr), 0);
    EXPECT_EQ(test::params_of(daemon.requests()[1]), R"({"User":"root"})");
}

TEST(Identity, ARefusedLoginGivesItsCodeAndATransportFailureItsNumber) {
    FakeDaemon daemon([](Peer &peer) {
        while (const auto request = peer.request()) peer.fail(*request, 9001, "Request denied");
    });
    const Client client(daemon.destination());
    EXPECT_EQ(rv_jrpcapi_login(client, "admin", "wrong"), 9001);
    EXPECT_EQ(client.error(), 0);
    EXPECT_EQ(rv_jrpcapi_get_flags(client), 0);
    EXPECT_LT(rv_jrpcapi_login(client, "\xff", nullptr), 0);
    const test::TempDir dir;
    const Client nobody(dir.path() + "/none");
    EXPECT_LT(rv_jrpcapi_login(nobody, "admin", "x"), 0);
    EXPECT_LT(nobody.error(), 0);
}

TEST(Identity, AfterAReconnectTheLoginGoesBeforeTheRequest) {
    FakeDaemon daemon(serve_until_drop);
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_login(client, "admin", "secret"), 0);
    drop(client);
    EXPECT_EQ(client.ask("After"), "{}");
    EXPECT_EQ(methods(daemon.lines()), (Names{"Hello", "Login", "Drop", "Hello", "Login", "After"}));
    EXPECT_EQ(test::params_of(daemon.lines()[4]), R"({"User":"admin","Password":"secret"})");
}

TEST(Identity, WithoutTheFlagNobodyIsLoggedInAgain) {
    FakeDaemon daemon(serve_until_drop);
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_login(client, "admin", "secret"), 0);
    rv_jrpcapi_set_flags(client, 0);
    drop(client);
    EXPECT_EQ(client.ask("After"), "{}");
    EXPECT_EQ(methods(daemon.requests()), (Names{"Login", "Drop", "After"}));
}

TEST(Identity, ATokenIsPresentedAgainInAnyCase) {
    FakeDaemon daemon(serve_until_drop);
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_set_auth(client, 0, "token", 0, 5000), 0);
    rv_jrpcapi_set_flags(client, 0);
    drop(client);
    EXPECT_EQ(client.ask("After"), "{}");
    EXPECT_EQ(methods(daemon.requests()), (Names{"SetAuth", "Drop", "SetAuth", "After"}));
    ASSERT_EQ(rv_jrpcapi_set_auth(client, 0, "", 0, 5000), 0);
    drop(client);
    EXPECT_EQ(client.ask("After"), "{}");
    EXPECT_EQ(methods(daemon.requests()).back(), "After");
    EXPECT_EQ(daemon.requests().size(), 7U);
}

TEST(Identity, ARefusedLoginAfterAReconnectFailsTheRequestWhichIsNotSent) {
    FakeDaemon daemon([](Peer &peer) {
        while (const auto request = peer.request()) {
            const std::string method = test::method_of(*request);
            if (method == "Login" && peer.number() > 1)
                peer.fail(*request, 9001, "Request denied");
            else
                peer.reply(*request, "{}");
            if (method == "Drop") return;
        }
    });
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_login(client, "admin", "secret"), 0);
    drop(client);
    for (int i = 0; i < 2; i++) {
        const auto msg = test::request("Reboot");
        EXPECT_EQ(client.exec(msg), 0);
        EXPECT_EQ(rv_jrpcmsg_typeof(msg.get()), RV_JRPCMSG_ERROR);
        EXPECT_EQ(rv_jrpcmsg_get_error_code(msg.get()), 9001);
        EXPECT_STREQ(rv_jrpcmsg_get_error_message(msg.get()), "Request denied");
    }
    EXPECT_EQ(methods(daemon.requests()), (Names{"Login", "Drop", "Login", "Login"}));
    EXPECT_EQ(rv_jrpcapi_logout(client), 0);
    EXPECT_EQ(client.ask("AsGuest"), "{}");
}

TEST(Identity, AConnectionLostWhileLoggingInAgainIsSafeToRepeat) {
    FakeDaemon daemon([](Peer &peer) {
        if (peer.number() == 2) {
            peer.request();
            return;
        }
        serve_until_drop(peer);
    });
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_login(client, "admin", "secret"), 0);
    drop(client);
    EXPECT_EQ(client.ask("After"), "-7");
    EXPECT_EQ(client.ask("After"), "{}");
}

TEST(Identity, ALogoutIsForgottenAndALoginOnADeadConnectionReconnects) {
    FakeDaemon daemon(serve_until_drop);
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_login(client, "admin", "secret"), 0);
    ASSERT_EQ(rv_jrpcapi_logout(client), 0);
    ASSERT_EQ(client.ask("Drop"), "{}");
    ASSERT_TRUE(test::await_hang_up(client.fd()));
    EXPECT_EQ(rv_jrpcapi_login(client, "user", "x"), 0);
    EXPECT_EQ(methods(daemon.requests()), (Names{"Login", "Logout", "Drop", "Login"}));
}

TEST(Identity, GroupsThatWereJoinedAreJoinedAgain) {
    FakeDaemon daemon(serve_until_drop);
    const Client client(daemon.destination());
    for (const uint32_t group : {16U, 17U, 18U, 16U}) client.exec(test::owned(rv_jrpcmsg_cmd_join_group(group)));
    client.exec(test::raw_request(R"({"jsonrpc":"2.0","method":"LeaveGroup","params":{"Group":17},"id":"x"})"));
    drop(client);
    const size_t before = daemon.requests().size();
    EXPECT_EQ(client.ask("After"), "{}");
    const auto requests = daemon.requests();
    ASSERT_EQ(requests.size(), before + 3);
    EXPECT_EQ(test::params_of(requests[before]), R"({"Group":18})");
    EXPECT_EQ(test::params_of(requests[before + 1]), R"({"Group":16})");
    EXPECT_EQ(test::method_of(requests[before + 2]), "After");
}

TEST(Confapi, AValueIsReadOverTheConnectionAndAFailureIsNone) {
    FakeDaemon daemon([](Peer &peer) {
        peer.reply(*peer.request(), R"({"ParameterList":[{"Name":"A.B","Value":"x"}]})");
        peer.fail(*peer.request(), 9005, "Invalid parameter name");
        peer.reply(*peer.request(), R"({"ParameterList":7})");
        peer.await_close();
    });
    const Client client(daemon.destination());
    rv_confapi_set_ctx(client);
    json_auto_t *value = rv_confapi_getconfig("A.B");
    EXPECT_EQ(test::compact(value), "\"x\"");
    EXPECT_EQ(test::params_of(daemon.requests()[0]), R"({"ParameterNames":["A.B"]})");
    EXPECT_EQ(rv_confapi_getconfig("A.C"), nullptr);
    EXPECT_EQ(rv_confapi_getconfig("A.D"), nullptr);
    EXPECT_EQ(rv_confapi_getconfig("\xff"), nullptr);
    rv_confapi_set_ctx(nullptr);
    EXPECT_EQ(rv_confapi_getconfig("A.B"), nullptr);
}

}  // namespace
