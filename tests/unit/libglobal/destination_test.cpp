// Destination texts.
#include "libglobal/net/destination.h"

#include <errno.h>
#include <gtest/gtest.h>

namespace {

using rv::Destination;
using rv::PortZero;

TEST(Destination, HostsAndPortsAreReadFromTcpTexts) {
    const struct {
        const char *text, *host;
        int port;
    } rows[] = {
        {"tcp://192.0.2.1:7546", "192.0.2.1", 7546},
        {"tcp://gateway.example:1", "gateway.example", 1},
        {"tcp://[::1]:65535", "::1", 65535},
        {"tcp://[fe80::1%eth0]:80", "fe80::1%eth0", 80},
    };
    for (const auto &row : rows) {
        Destination d;
        EXPECT_EQ(rv::parse_destination(row.text, PortZero::refused, &d), 0) << row.text;
        EXPECT_EQ(d.kind, RV_SOCKET_TCP);
        EXPECT_EQ(d.host, row.host);
        EXPECT_EQ(d.port, row.port);
    }
}

TEST(Destination, MalformedTcpTextsAndTheEmptyTextAreNotUnderstood) {
    for (const char *text :
         {"", "tcp://", "tcp://host", "tcp://host:", "tcp://:80", "tcp://host:0", "tcp://host:65536", "tcp://host:-1",
          "tcp://host:+1", "tcp://host:80x", "tcp://::1:80", "tcp://[::1]", "tcp://[::1]80", "tcp://[]:80",
          "tcp://[host]:80", "tcp://ho st:80", "tcp://a/b:80", "tcp://[::1:80", "tcp://::1]:80"}) {
        Destination d;
        EXPECT_EQ(rv::parse_destination(text, PortZero::refused, &d), RV_SOCKET_ERR_DESTINATION) << text;
        EXPECT_EQ(d.kind, RV_SOCKET_NONE) << text;
    }
}

TEST(Destination, PortZeroIsTakenToListen) {
    Destination d;
    EXPECT_EQ(rv::parse_destination("tcp://127.0.0.1:0", PortZero::taken, &d), 0);
    EXPECT_EQ(d.port, 0);
}

TEST(Destination, EveryOtherTextIsAPath) {
    for (const char *text : {"/var/run/ravd.sock", "ravd.sock", "tcp:/x", "TCP://host:1", "[::1]:80"}) {
        Destination d;
        EXPECT_EQ(rv::parse_destination(text, PortZero::refused, &d), 0) << text;
        EXPECT_EQ(d.kind, RV_SOCKET_UNIX);
        EXPECT_EQ(d.path, text);
    }
}

TEST(Destination, APathOf107BytesFitsAndOneOf108IsRefused) {
    Destination d;
    EXPECT_EQ(rv::parse_destination(std::string(107, 'p'), PortZero::refused, &d), 0);
    EXPECT_EQ(rv::parse_destination(std::string(108, 'p'), PortZero::refused, &d), RV_SOCKET_ERR_OS - ENAMETOOLONG);
    EXPECT_EQ(d.path, "");
}

}  // namespace
