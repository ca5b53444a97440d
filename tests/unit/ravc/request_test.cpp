// Sending requests and reporting their outcome, against a scripted daemon.
#include "ravc/daemon/request.h"

#include <gtest/gtest.h>
#include <signal.h>

#include "ravc/commands/handlers.h"
#include "ravc/daemon/connections.h"
#include "ravc/daemon/reply_status.h"
#include "ravc/shell/interrupt.h"
#include "tests/support/color_scope.h"
#include "tests/support/fake_daemon.h"

namespace {

using test::FakeDaemon;
using test::Peer;

class Request : public testing::Test {
 protected:
    Request() { connections_init(); }
    ~Request() override { connections_deinit(); }

    static void use(const FakeDaemon &daemon) {
        rv_jrpcapi_set_destination(requests_connection(), "", daemon.destination().c_str(), 2);
    }

    static std::string status_of(const rv_jrpcmsg *msg) {
        testing::internal::CaptureStdout();
        print_reply_status(msg);
        return testing::internal::GetCapturedStdout();
    }

 private:
    const ColorScope plain_{0};
};

// The status that a reply with this error object (or result, JSON text) is reported with.
std::string status_of_reply(const char *text) {
    json_auto_t *json = json_loads(text, 0, nullptr);
    message_auto_t *msg = rv_jrpcmsg_parse_json(json);
    testing::internal::CaptureStdout();
    print_reply_status(msg);
    return testing::internal::GetCapturedStdout();
}

TEST_F(Request, ThatSucceedsIsReportedOk) {
    FakeDaemon daemon(test::answer_all());
    use(daemon);
    message_auto_t *msg = request_new("Noop", nullptr);
    EXPECT_EQ(send_request(msg, NO_TIMEOUT), 0);
    EXPECT_EQ(status_of(msg), "Status: OK\n");
    EXPECT_EQ(daemon.requests().size(), 1U);
}

TEST_F(Request, ThatFindsTheConnectionClosedIsSentExactlyTwice) {
    // The first connection answers once and closes; the request after that finds it closed.
    test::Gate closed;
    FakeDaemon daemon([&closed](Peer &peer) {
        while (const auto request = peer.request()) {
            peer.reply(*request, "{}");
            if (peer.number() > 1) continue;
            peer.close();
            return closed.open();
        }
    });
    use(daemon);
    message_auto_t *first = request_new("First", nullptr);
    send_request(first, NO_TIMEOUT);
    ASSERT_TRUE(closed.wait());
    message_auto_t *second = request_new("Second", nullptr);
    EXPECT_EQ(send_request(second, NO_TIMEOUT), 0);
    EXPECT_EQ(rv_jrpcmsg_typeof(second), RV_JRPCMSG_RESULT);
    EXPECT_EQ(daemon.accepted(), 2);
    ASSERT_EQ(daemon.requests().size(), 2U);
    EXPECT_EQ(test::method_of(daemon.requests()[1]), "Second");
}

TEST_F(Request, ThatIsLostAfterItWasHandedOverIsSentExactlyOnce) {
    FakeDaemon daemon([](Peer &peer) {
        peer.request();
        peer.close();
    });
    use(daemon);
    message_auto_t *msg = request_new("AddObject", nullptr);
    EXPECT_LT(send_request(msg, NO_TIMEOUT), 0);
    EXPECT_EQ(rv_jrpcapi_get_socket_err(requests_connection()), RV_SOCKET_ERR_LOST);
    EXPECT_EQ(daemon.requests().size(), 1U);
    EXPECT_EQ(daemon.accepted(), 1);
    EXPECT_EQ(status_of(msg), std::string("[-6] ") + rv_socket_strerror(RV_SOCKET_ERR_LOST) + "\n");
}

TEST_F(Request, LeavesTheConnectionAtItsRestingTimeout) {
    FakeDaemon daemon(test::answer_all());
    use(daemon);
    for (const int timeout : {-1, 1000}) {
        message_auto_t *msg = request_new("Noop", nullptr);
        send_request(msg, timeout);
        EXPECT_EQ(rv_jrpcapi_get_timeout(requests_connection()), 5000);
    }
    daemon.stop();
    message_auto_t *msg = request_new("Noop", nullptr);
    EXPECT_LT(send_request(msg, NO_TIMEOUT), 0);
    EXPECT_EQ(rv_jrpcapi_get_timeout(requests_connection()), 5000);
}

TEST_F(Request, ThatIsNotAnsweredInTimeIsNeverReportedOk) {
    FakeDaemon daemon([](Peer &peer) { peer.await_close(); });
    use(daemon);
    message_auto_t *msg = request_new("Noop", nullptr);
    EXPECT_LT(send_request(msg, 50), 0);
    EXPECT_EQ(rv_jrpcmsg_typeof(msg), RV_JRPCMSG_ERROR);
    EXPECT_EQ(status_of(msg), std::string("[-8] ") + rv_socket_strerror(RV_SOCKET_ERR_TIMEOUT) + "\n");
}

TEST_F(Request, KeepsTheCallersReferenceToItsParameters) {
    json_auto_t *params = json_object();
    message_auto_t *msg = request_new("Noop", params);
    ASSERT_NE(msg, nullptr);
    EXPECT_EQ(params->refcount, 2U);
    json_auto_t *object = json_object();
    EXPECT_EQ(object_set(object, "a", params), 0);
    EXPECT_EQ(params->refcount, 3U);
}

TEST(ReplyStatus, OfASuccess) {
    const ColorScope plain(0);
    EXPECT_EQ(status_of_reply(R"({"jsonrpc":"2.0","id":1,"result":{}})"), "Status: OK\n");
}

TEST(ReplyStatus, SwitchesColoursAroundOkAndAroundTheError) {
    EXPECT_EQ(status_of_reply(R"({"jsonrpc":"2.0","id":1,"result":{}})"), "Status: \033[0;32mOK\n\033[0m");
    EXPECT_EQ(status_of_reply(R"({"jsonrpc":"2.0","id":1,"error":{"code":9005,"message":"Bad"}})"),
              "\033[0;31m[9005] Bad\033[0m\n");
}

TEST(ReplyStatus, OfAnErrorWithoutTexts) {
    const ColorScope plain(0);
    EXPECT_EQ(status_of_reply(R"({"jsonrpc":"2.0","id":1,"error":{"code":7,"data":{"Data":{"a":1}}}})"),
              "[7] \na: 1\n");
}

TEST(ReplyStatus, OfAnErrorWithEverything) {
    const ColorScope plain(0);
    EXPECT_EQ(status_of_reply(R"({"jsonrpc":"2.0","id":1,"error":{"code":9003,"message":"Invalid arguments",
                  "data":{"Detail":"two names","Data":{"B.":"9005 Invalid parameter name","A":{"x":[1, null]}}}}})"),
              "[9003] Invalid arguments: two names\nB.: \"9005 Invalid parameter name\"\nA: {\"x\": [1, null]}\n");
}

// What cat prints for names against a daemon that answers with result (JSON text), and the params it was sent.
struct CatOutcome {
    std::string text;
    std::vector<std::string> params;
};

class Cat : public Request {
 protected:
    static CatOutcome cat(const char *names, const std::string &result) {
        FakeDaemon daemon(test::answer_all({{"GetParameterValues", result}}));
        use(daemon);
        json_auto_t *args = json_loads(names, 0, nullptr);
        CatOutcome outcome;
        testing::internal::CaptureStdout();
        EXPECT_EQ(process_cat("cat", args), 0);
        outcome.text = testing::internal::GetCapturedStdout();
        for (const std::string &line : daemon.requests()) outcome.params.push_back(test::params_of(line));
        return outcome;
    }
};

TEST_F(Cat, WithoutArgumentsReadsTheRootAndPrintsWholeNames) {
    const CatOutcome outcome = cat("[]", R"({"ParameterList":[{"Name":"Device.A","Value":1},)"
                                         R"({"Name":"Device.Long","Value":"x"}]})");
    EXPECT_EQ(outcome.params, std::vector<std::string>{R"({"ParameterNames":["."]})"});
    EXPECT_EQ(outcome.text, "Device.A    = 1\nDevice.Long = 'x'\n");
}

TEST_F(Cat, OfOneParameterPrintsNoName) {
    EXPECT_EQ(cat(R"(["D.A"])", R"({"ParameterList":[{"Name":"D.A","Value":true}]})").text, " = true\n");
}

TEST_F(Cat, OfAnObjectPrintsNamesRelativeToIt) {
    EXPECT_EQ(
        cat(R"(["D.O."])", R"({"ParameterList":[{"Name":"D.O.A","Value":true},{"Name":"D.O.BB","Value":2}]})").text,
        "A  = true\nBB = 2\n");
}

TEST_F(Cat, OfATemplatePrintsNamesRelativeToItsObject) {
    const CatOutcome outcome = cat(R"(["D.I.#template.E"])",
                                   R"({"ParameterList":[{"Name":"D.I.1.E","Value":1},{"Name":"D.I.12.E","Value":2}]})");
    EXPECT_EQ(outcome.text, "1.E  = 1\n12.E = 2\n");
    EXPECT_EQ(outcome.params, std::vector<std::string>{R"({"ParameterNames":["D.I.#template.E"]})"});
}

TEST_F(Cat, SendsPseudoParametersAsTyped) {
    EXPECT_EQ(cat(R"(["D.I.max_instance"])", R"({"ParameterList":[]})").params,
              std::vector<std::string>{R"({"ParameterNames":["D.I.max_instance"]})"});
}

TEST_F(Cat, OfSeveralReadsEachInItsOrder) {
    EXPECT_EQ(cat(R"(["B.", "A."])", R"({"ParameterList":[]})").params,
              (std::vector<std::string>{R"({"ParameterNames":["B."]})", R"({"ParameterNames":["A."]})"}));
}

TEST_F(Cat, PrintsNoValueForAnObject) {
    EXPECT_EQ(cat(R"(["D."])", R"({"ParameterList":[{"Name":"D.A","Value":{"x":1}}]})").text, "A\n");
}

TEST_F(Cat, SurvivesRepliesOfAnotherShape) {
    EXPECT_EQ(cat(R"(["D."])", R"({"ParameterList":[1,{"Value":2},{"Name":"D.A"}]})").text, " \n  = 2\nA\n");
    EXPECT_EQ(cat(R"(["D."])", "{}").text, "");
    EXPECT_EQ(cat(R"(["D."])", "7").text, "");
}

TEST_F(Cat, ReportsAFailureAndReturnsZero) {
    FakeDaemon daemon([](Peer &peer) {
        while (const auto request = peer.request()) peer.fail(*request, 9005, "Invalid parameter name");
    });
    use(daemon);
    json_auto_t *args = json_pack("[s,s]", "A", "B");
    testing::internal::CaptureStdout();
    EXPECT_EQ(process_cat("cat", args), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[9005] Invalid parameter name\n[9005] Invalid parameter name\n");
}

TEST_F(Cat, OfSomethingThatIsNoTextSaysSo) {
    EXPECT_EQ(cat("[1]", "{}").text, "cat: no argument.\n");
}

// Sends a request while Ctrl-C is pressed.
void send_and_be_abandoned(void *) {
    message_auto_t *msg = request_new("Never", nullptr);
    raise(SIGINT);
    send_request(msg, 1000);
    ADD_FAILURE() << "not abandoned";
}

TEST_F(Request, AnAbandonedOneIsGivenBack) {
    FakeDaemon daemon(test::answer_all());
    use(daemon);
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    interrupt_init();
    EXPECT_FALSE(run_command(send_and_be_abandoned, nullptr));
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    mend_abandoned_request();  // the sanitizer counts the message
    EXPECT_EQ(rv_jrpcapi_get_timeout(requests_connection()), REST_TIMEOUT_MS);
    mend_abandoned_request();
    message_auto_t *msg = request_new("Next", nullptr);
    EXPECT_EQ(send_request(msg, 1000), 0);
}

}  // namespace
