// Waits that a signal ends: by an interrupted call, and by a jump out of the handler.
#include "tests/support/interrupt.h"

#include <gtest/gtest.h>

#include "tests/support/fake_daemon.h"
#include "tests/unit/libglobal/client.h"

namespace {

using test::BlockedInterrupt;
using test::Client;
using test::FakeDaemon;
using test::Peer;

TEST(Interrupt, AJumpOutOfAWaitLeavesAConnectionThatGoesOn) {
    const BlockedInterrupt interrupt(test::jump_out);
    const pthread_t main_thread = pthread_self();
    FakeDaemon daemon([&](Peer &peer) {
        for (int i = 0; i < 50; i++) {
            const auto abandoned = peer.request();
            if (!abandoned) return;
            pthread_kill(main_thread, SIGINT);
            const auto next = peer.request();
            if (!next) return;
            peer.reply(*abandoned, "\"late\"");
            peer.reply(*next, "\"right\"");
        }
        peer.await_close();
    });
    {
        const Client client(daemon.destination());
        const auto abandoned = test::request("Abandoned");
        volatile int jumps = 0;
        while (jumps < 50) {
            if (sigsetjmp(test::jump, 1) == 0) {
                rv_jrpcapi_exec(client, abandoned.get());
                ADD_FAILURE() << "no jump";
            }
            jumps = jumps + 1;
            EXPECT_EQ(rv_jrpcmsg_get_error_code(abandoned.get()), RV_SOCKET_ERR_NOTHING);
            EXPECT_EQ(client.ask("Next"), "\"right\"");
        }
        EXPECT_EQ(jumps, 50);
    }
}

TEST(Interrupt, ASignalEndsAnExecWithInterruptedAndKeepsWhatCame) {
    const BlockedInterrupt interrupt([](int) {});
    const pthread_t main_thread = pthread_self();
    FakeDaemon daemon([&](Peer &peer) {
        const auto first = peer.request();
        peer.send(R"({"jsonrpc":"2.0",)");
        pthread_kill(main_thread, SIGINT);
        const auto second = peer.request();
        peer.send("\"id\":1,\"result\":1}\n");
        peer.reply(*second, "2");
        peer.await_close();
    });
    {
        const Client client(daemon.destination());
        EXPECT_EQ(client.ask("A"), "-13");
        EXPECT_EQ(client.ask("B"), "2");
    }
}

}  // namespace
