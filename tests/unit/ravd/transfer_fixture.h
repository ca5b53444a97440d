// A file that is fetched into, for tests of transfers.
#pragma once

#include <optional>
#include <string>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>

#include "ravd/descriptor.h"
#include "ravd/transfer/fetch.h"
#include "tests/unit/ravd/loop_fixture.h"

namespace ravd {

class TransferTest : public LoopTest {
 protected:
    TransferTest() {
        peer.uid = geteuid();
        peer.gid = getegid();
    }

    // The code of the fault of a fetch, 0 for none; detail and fetched are set.
    int fetch(const std::string &url, const std::string &md5 = "", std::optional<uint64_t> size = std::nullopt) {
        const std::string target = folder / "fetched";
        const Descriptor file(open(target.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
        std::optional<Fault> outcome;
        Fetch fetch(base, limits, {url, md5, size, most, peer}, file.get(), [&](const Fault &fault) {
            EXPECT_FALSE(outcome) << "once";
            outcome = fault;
        });
        EXPECT_FALSE(outcome) << "not from within";
        EXPECT_TRUE(loop_until([&] { return outcome.has_value(); }));
        fetched = file_text(target);
        detail = outcome ? outcome->detail : "";
        return outcome ? outcome->code : -1;
    }

    ClientLimits limits;
    uint64_t most = 1 << 20;
    Peer peer;
    std::string fetched, detail;
};

// Somebody who takes one connection at a time, on a port of the loopback.
class NetcatPeer {
 public:
    NetcatPeer() : listening_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(listening_.get(), reinterpret_cast<sockaddr *>(&address), size), 0);
        EXPECT_EQ(listen(listening_.get(), 8), 0);
        getsockname(listening_.get(), reinterpret_cast<sockaddr *>(&address), &size);
        url = "netcat://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    }
    Descriptor accept() { return Descriptor(accept4(listening_.get(), nullptr, nullptr, SOCK_CLOEXEC)); }
    // Where the connection that it closes again came from.
    std::string accept_and_tell_source() {
        sockaddr_in address = {};
        socklen_t size = sizeof address;
        const Descriptor connection = accept();
        getpeername(connection.get(), reinterpret_cast<sockaddr *>(&address), &size);
        return inet_ntoa(address.sin_addr);
    }
    void close() { listening_.reset(); }

    std::string url;

 private:
    Descriptor listening_;
};

}  // namespace ravd
