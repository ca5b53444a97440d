// A loop, a folder and a file that is fetched into, for tests of transfers.
#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>

#include "ravd/descriptor.h"
#include "ravd/transfer/fetch.h"

namespace ravd {

class TransferTest : public testing::Test {
 protected:
    TransferTest() {
        signal(SIGPIPE, SIG_IGN);  // as the daemon does
        std::string pattern = (std::filesystem::temp_directory_path() / "transfer-XXXXXX").string();
        folder = mkdtemp(pattern.data());
        chmod(folder.c_str(), 0755);
        peer.uid = geteuid();
        peer.gid = getegid();
    }
    ~TransferTest() override {
        event_base_free(base);
        std::filesystem::remove_all(folder);
    }

    std::string write(const std::string &name, const std::string &content) const {
        std::ofstream(folder / name) << content;
        return (folder / name).string();
    }
    static std::string text_of(const std::filesystem::path &path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    // Runs the loop until condition() holds; false when that takes too long.
    bool loop_until(const std::function<bool()> &condition) const {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            const timeval soon = {0, 10'000};
            event_base_loopexit(base, &soon);
            event_base_dispatch(base);
        }
        return true;
    }

    // The code of the fault of a fetch, 0 for none; detail and fetched are set.
    int fetch(const std::string &url, const std::string &md5 = "", std::optional<uint64_t> size = std::nullopt) {
        const std::string target = (folder / "fetched").string();
        const Descriptor file(open(target.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
        std::optional<Fault> outcome;
        Fetch fetch(base, limits, {url, md5, size, most, peer}, file.get(), [&](const Fault &fault) {
            EXPECT_FALSE(outcome) << "once";
            outcome = fault;
        });
        EXPECT_FALSE(outcome) << "not from within";
        EXPECT_TRUE(loop_until([&] { return outcome.has_value(); }));
        fetched = text_of(target);
        detail = outcome ? outcome->detail : "";
        return outcome ? outcome->code : -1;
    }

    std::filesystem::path folder;
    event_base *base = event_base_new();
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
