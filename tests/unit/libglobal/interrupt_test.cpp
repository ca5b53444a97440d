// Waits that a signal ends: by an interrupted call, and by a jump out of the handler.
#include <gtest/gtest.h>
#include <setjmp.h>
#include <signal.h>

#include "tests/support/fake_daemon.h"
#include "tests/unit/libglobal/client.h"

namespace {

using test::Client;
using test::FakeDaemon;
using test::Peer;

// SIGINT handled and blocked, as in a shell, for as long as the object lives.
class BlockedInterrupt {
 public:
    explicit BlockedInterrupt(void (*handler)(int)) {
        struct sigaction action = {};
        action.sa_handler = handler;
        sigaction(SIGINT, &action, &before_);
        sigset_t interrupt;
        sigemptyset(&interrupt);
        sigaddset(&interrupt, SIGINT);
        pthread_sigmask(SIG_BLOCK, &interrupt, &mask_);
    }
    ~BlockedInterrupt() {
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
        sigaction(SIGINT, &before_, nullptr);
    }
    BlockedInterrupt(const BlockedInterrupt &) = delete;
    BlockedInterrupt &operator=(const BlockedInterrupt &) = delete;

 private:
    struct sigaction before_ = {};
    sigset_t mask_ = {};
};

// Lets the handler of SIGINT jump out of the wait that a script's kill() interrupts.
sigjmp_buf jump;

void jump_out(int) {
    siglongjmp(jump, 1);
}

TEST(Interrupt, AJumpOutOfAWaitLeavesAConnectionThatGoesOn) {
    const BlockedInterrupt interrupt(jump_out);
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
            if (sigsetjmp(jump, 1) == 0) {
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
