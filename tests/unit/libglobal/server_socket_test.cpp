// Server sockets: from being made to what a client is sent.
#include <string>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <string.h>
#include <unistd.h>

#include "rv/fs.h"
#include "rv/socket.h"
#include "tests/support/temporary_folder.h"

namespace {

sockaddr_storage loopback() {
    sockaddr_storage address{};
    auto *ipv4 = reinterpret_cast<sockaddr_in *>(&address);
    ipv4->sin_family = AF_INET;
    ipv4->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// A listening socket at any free port, and a client that is connected to it.
class ServerSocket : public testing::Test {
 protected:
    ServerSocket() : listener_(rv_socket_new(4)), client_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const sockaddr_storage any = loopback();
        EXPECT_EQ(rv_socket_bind(listener_, &any, rv_socket_addrsize(&any)), 0);
        EXPECT_EQ(rv_socket_listen(listener_, 1), 0);
        EXPECT_EQ(rv_socket_get_addr(listener_, &bound_), 0);
    }
    ~ServerSocket() override {
        rv_socket_free(listener_);
        rv_socket_free(accepted_);
        if (client_ >= 0) close(client_);
    }

    void meet() {
        ASSERT_EQ(connect(client_, reinterpret_cast<sockaddr *>(&bound_), rv_socket_addrsize(&bound_)), 0);
        ASSERT_EQ(rv_socket_wait(listener_, 1, 20000), 1);
        accepted_ = rv_socket_accept(listener_);
        ASSERT_TRUE(accepted_);
    }

    std::string receive_all() {
        std::string text;
        char buffer[65536];
        for (ssize_t got; (got = recv(client_, buffer, sizeof buffer, 0)) > 0;)
            text.append(buffer, static_cast<size_t>(got));
        return text;
    }

    void hang_up_client() {
        close(client_);
        client_ = -1;
    }

    rv_socket *listener_, *accepted_ = nullptr;
    int client_;
    sockaddr_storage bound_{};
};

TEST_F(ServerSocket, IsATcpSocketThatChildrenDoNotGet) {
    EXPECT_EQ(rv_socket_type(listener_), RV_SOCKET_TCP);
    EXPECT_TRUE(fcntl(rv_socket_fd(listener_), F_GETFD) & FD_CLOEXEC);
    meet();
    EXPECT_TRUE(fcntl(rv_socket_fd(accepted_), F_GETFD) & FD_CLOEXEC);
    EXPECT_FALSE(rv_socket_new(6));
}

TEST_F(ServerSocket, TellsBothAddresses) {
    meet();
    EXPECT_NE(reinterpret_cast<sockaddr_in *>(&bound_)->sin_port, 0);
    sockaddr_storage peer, client;
    socklen_t size = sizeof client;
    ASSERT_EQ(rv_socket_get_peer(accepted_, &peer), 0);
    ASSERT_EQ(getsockname(client_, reinterpret_cast<sockaddr *>(&client), &size), 0);
    EXPECT_EQ(memcmp(&peer, &client, sizeof(sockaddr_in)), 0);
    EXPECT_EQ(rv_socket_get_peer(listener_, &peer), -1);
    EXPECT_EQ(rv_socket_get_addr(nullptr, &peer), -1);
}

TEST(SocketAddress, SizeGoesByFamily) {
    sockaddr_storage address = loopback();
    EXPECT_EQ(rv_socket_addrsize(&address), 16U);
    address.ss_family = AF_INET6;
    EXPECT_EQ(rv_socket_addrsize(&address), 28U);
    address.ss_family = AF_UNIX;
    EXPECT_EQ(rv_socket_addrsize(&address), 0U);
}

TEST_F(ServerSocket, WaitEndsWhenItsTimeIsUp) {
    EXPECT_EQ(rv_socket_wait(listener_, 1, 0), 0);
    EXPECT_EQ(rv_socket_wait(listener_, 1, 1), 0);
    EXPECT_FALSE(rv_socket_accept(listener_));
}

TEST_F(ServerSocket, WaitLeavesSignalsBlocked) {
    sigset_t interrupt, before, pending;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, &before);
    raise(SIGINT);
    EXPECT_EQ(rv_socket_wait(listener_, 1, 1), 0);
    sigpending(&pending);
    EXPECT_TRUE(sigismember(&pending, SIGINT));
    signal(SIGINT, SIG_IGN);  // throws it away
    signal(SIGINT, SIG_DFL);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(ServerSocket, SendsAllHoweverSlowlyItIsRead) {
    meet();
    const std::string data(20'000'000, 'x');
    std::string received;
    std::thread reader([&] { received = receive_all(); });
    EXPECT_EQ(rv_socket_send(accepted_, data.data(), data.size()), ssize_t(data.size()));
    rv_socket_free(accepted_);
    accepted_ = nullptr;
    reader.join();
    EXPECT_TRUE(received == data);
}

TEST_F(ServerSocket, SendsNothingOfNothing) {
    meet();
    EXPECT_EQ(rv_socket_send(accepted_, "", 0), 0);
}

TEST_F(ServerSocket, TellsHowMuchWasSentWhenTheClientGoes) {
    meet();
    const std::string data(50'000'000, 'x');
    std::thread reader([&] {
        char byte;
        EXPECT_EQ(recv(client_, &byte, 1, 0), 1);
        hang_up_client();
    });
    const ssize_t sent = rv_socket_send(accepted_, data.data(), data.size());
    EXPECT_GT(sent, 0);
    EXPECT_LT(sent, ssize_t(data.size()));
    reader.join();
    EXPECT_EQ(rv_socket_send(accepted_, "x", 1), -1);
}

TEST_F(ServerSocket, AFileThatIsCutEndsTheSendingAndNothingElse) {
    TemporaryFolder folder;
    put_file(folder / "file", std::string(100'000, 'x'));
    size_t size = 0;
    const void *mapping = rv_fs_mmap_file_adv((folder / "file").c_str(), 0, &size, 0);
    ASSERT_TRUE(mapping);
    ASSERT_EQ(truncate((folder / "file").c_str(), 0), 0);
    meet();
    EXPECT_EQ(rv_socket_send(accepted_, mapping, size), -1);
    rv_fs_munmap_file(mapping, size);
}

}  // namespace
