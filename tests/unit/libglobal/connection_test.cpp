// Opening connections, what their errors are called, and what they leave to child processes.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/fake_daemon.h"
#include "tests/unit/libglobal/client.h"

namespace {

using test::Client;
using test::FakeDaemon;
using Over = FakeDaemon::Over;

int os(int number) {
    return RV_SOCKET_ERR_OS - number;
}

TEST(Connection, ANewOneIsClosedWithTheDefaults) {
    rv_jrpcapi *c = rv_jrpcapi_init();
    EXPECT_EQ(rv_socket_fd(rv_jrpcapi_socket(c)), -1);
    EXPECT_EQ(rv_socket_type(rv_jrpcapi_socket(c)), RV_SOCKET_UNIX);
    EXPECT_EQ(rv_jrpcapi_get_timeout(c), 5000);
    EXPECT_EQ(rv_jrpcapi_get_flags(c), 0);
    EXPECT_EQ(rv_jrpcapi_get_socket_err(c), 0);
    rv_jrpcapi_deinit(c);
    rv_jrpcapi_deinit(nullptr);
    EXPECT_EQ(rv_socket_fd(nullptr), -1);
    EXPECT_EQ(rv_socket_type(nullptr), RV_SOCKET_NONE);
}

TEST(Connection, AMissingSocketIsToldFromARefusedOne) {
    const test::TempDir dir;
    const Client missing(dir.path() + "/none");
    EXPECT_EQ(rv_jrpcapi_connect(missing), os(ENOENT));
    EXPECT_EQ(missing.error(), os(ENOENT));
    EXPECT_STREQ(rv_socket_strerror(missing.error()), strerror(ENOENT));

    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (dir.path() + "/dead").copy(address.sun_path, sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    close(fd);
    const Client refused(address.sun_path);
    EXPECT_EQ(rv_jrpcapi_connect(refused), os(ECONNREFUSED));
    EXPECT_EQ(refused.fd(), -1);
}

TEST(Connection, ALackOfPermissionIsItsOwnError) {
    FakeDaemon daemon(test::answer_all());
    ASSERT_EQ(chmod(daemon.destination().c_str(), 0), 0);
    const pid_t child = fork();
    if (child == 0) {
        if (geteuid() == 0 && (setgid(65534) || setuid(65534))) _exit(1);
        const Client client(daemon.destination());
        const int err = rv_jrpcapi_connect(client);
        _exit(err == os(EACCES) && strcmp(rv_socket_strerror(err), strerror(EACCES)) == 0 ? 0 : 2);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(Connection, DestinationsThatAreNotUnderstoodStayErrors) {
    rv_jrpcapi *c = rv_jrpcapi_init();
    EXPECT_EQ(rv_jrpcapi_set_destination(c, "", "tcp://x", 2), RV_SOCKET_ERR_DESTINATION);
    EXPECT_EQ(rv_socket_type(rv_jrpcapi_socket(c)), RV_SOCKET_NONE);
    EXPECT_EQ(rv_jrpcapi_connect(c), RV_SOCKET_ERR_DESTINATION);
    const std::string too_long(108, 'x');
    EXPECT_EQ(rv_jrpcapi_set_destination(c, "", too_long.c_str(), 2), os(ENAMETOOLONG));
    EXPECT_EQ(rv_jrpcapi_connect(c), os(ENAMETOOLONG));
    rv_jrpcapi_deinit(c);
}

TEST(Connection, ATcpHostIsLookedUpByNameAndByAddress) {
    FakeDaemon daemon(test::answer_all(), Over::tcp);
    const Client by_address(daemon.destination());
    EXPECT_EQ(rv_jrpcapi_connect(by_address), 0);
    EXPECT_EQ(rv_socket_type(rv_jrpcapi_socket(by_address)), RV_SOCKET_TCP);
    const Client by_name("tcp://localhost" + daemon.destination().substr(strlen("tcp://127.0.0.1")));
    EXPECT_EQ(rv_jrpcapi_connect(by_name), 0);
    EXPECT_EQ(by_name.ask("X"), "{}");
    const Client nobody("tcp://no-such-host.invalid:7546");
    EXPECT_EQ(rv_jrpcapi_connect(nobody), RV_SOCKET_ERR_HOST);
}

TEST(Connection, ARefusedTcpPortIsTheSystemsError) {
    FakeDaemon daemon(test::answer_all(), Over::tcp);
    const std::string destination = daemon.destination();
    daemon.stop();
    const Client client(destination);
    EXPECT_EQ(rv_jrpcapi_connect(client), os(ECONNREFUSED));
}

TEST(Connection, AFullBacklogIsWaitedForUntilTheDeadline) {
    const test::TempDir dir;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (dir.path() + "/full").copy(address.sun_path, sizeof address.sun_path - 1);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 0), 0);
    const Client first(address.sun_path);
    EXPECT_EQ(rv_jrpcapi_connect(first), 0);
    const Client second(address.sun_path);
    rv_jrpcapi_set_timeout(second, 100);
    const auto msg = test::request("X");
    EXPECT_EQ(second.exec(msg), RV_SOCKET_ERR_TIMEOUT);
    close(accept(listener, nullptr, nullptr));
    EXPECT_EQ(rv_jrpcapi_connect(second), 0);
    close(listener);
}

TEST(Connection, DescriptorsAreClosedOnExec) {
    for (const Over over : {Over::unix_socket, Over::tcp}) {
        FakeDaemon daemon(test::answer_all(), over);
        const Client client(daemon.destination());
        ASSERT_EQ(rv_jrpcapi_connect(client), 0);
        EXPECT_EQ(fcntl(client.fd(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
        EXPECT_EQ(fcntl(client.fd(), F_GETFL) & O_NONBLOCK, O_NONBLOCK);
    }
}

TEST(Connection, ASilentTcpPeerIsFoundOut) {
    FakeDaemon daemon(test::answer_all(), Over::tcp);
    const Client client(daemon.destination());
    ASSERT_EQ(rv_jrpcapi_connect(client), 0);
    const struct {
        int level, name, value;
    } rows[] = {
        {SOL_SOCKET, SO_KEEPALIVE, 1}, {IPPROTO_TCP, TCP_KEEPIDLE, 30},        {IPPROTO_TCP, TCP_KEEPINTVL, 10},
        {IPPROTO_TCP, TCP_KEEPCNT, 3}, {IPPROTO_TCP, TCP_USER_TIMEOUT, 60000}, {IPPROTO_TCP, TCP_NODELAY, 1},
    };
    for (const auto &row : rows) {
        int value = 0;
        socklen_t size = sizeof value;
        ASSERT_EQ(getsockopt(client.fd(), row.level, row.name, &value, &size), 0);
        EXPECT_EQ(value, row.value) << row.name;
    }
}

TEST(Connection, TheSecureLayerIsNeverLeftOut) {
    FakeDaemon daemon([](test::Peer &peer) { peer.bytes(1); });
    const Client client(daemon.destination(), RV_JRPCAPI_TLS);
    EXPECT_EQ(rv_jrpcapi_connect(client), RV_SOCKET_ERR_TLS);  // no module to be found, or no TLS at the other end
    EXPECT_EQ(client.fd(), -1);
    EXPECT_EQ(std::string(rv_socket_strerror(client.error())).find("TLS handshake or verification failed: "), 0U);
    EXPECT_TRUE(daemon.lines().empty());
}

TEST(Connection, EverySocketErrorHasAText) {
    for (const int err : {0, -3, -4, -5, -6, -7, -8, -9, -10, -13, -1002, -999})
        EXPECT_STRNE(rv_socket_strerror(err), "") << err;
    EXPECT_STREQ(rv_socket_strerror(os(ECONNREFUSED)), "Connection refused");
}

}  // namespace
