// Files that are fetched by file:// and netcat://. How http, https and ftp do stands in the system tests.
#include <thread>

#include <sys/stat.h>

#include "tests/unit/ravd/transfer_fixture.h"

namespace ravd {

namespace {

constexpr uid_t stranger = 54321;

class FetchTest : public TransferTest {
 protected:
    // Answers one connection, and closes it.
    std::thread serving(const std::string &content) {
        return std::thread([this, content] {
            const Descriptor connection = server.accept();
            for (size_t sent = 0; sent < content.size();) {
                const ssize_t part = send(connection.get(), content.data() + sent, content.size() - sent, MSG_NOSIGNAL);
                if (part <= 0) return;
                sent += static_cast<size_t>(part);
            }
        });
    }

    NetcatPeer server;
};

TEST_F(FetchTest, AFile) {
    const std::string url = "file://" + write("a file%20with+signs", "content");
    EXPECT_EQ(fetch(url), 0) << detail;
    EXPECT_EQ(fetched, "content");
    EXPECT_EQ(fetch("FILE" + url.substr(4)), 0);
    EXPECT_EQ(fetch("file://" + write("empty", "")), 0);
    EXPECT_EQ(fetched, "");
}

TEST_F(FetchTest, SizeAndDigestOfAFile) {
    const std::string url = "file://" + write("file", "content");
    const std::string md5 = "9a0364b9e99bb480dd25e1f0284c8555";
    EXPECT_EQ(fetch(url, md5, 7), 0) << detail;
    EXPECT_EQ(fetch(url, "9A0364B9E99BB480DD25E1F0284C8555", 7), 0) << detail;
    EXPECT_EQ(fetch(url, md5.substr(1)), 9018);
    EXPECT_EQ(detail, "MD5");
    EXPECT_EQ(fetch(url, md5, 8), 9018);
    EXPECT_EQ(detail, "FileSize");
    EXPECT_EQ(fetch(url, md5, 6), 9018);
    EXPECT_EQ(fetch(url, md5, 0), 9018);
}

TEST_F(FetchTest, ManyBytes) {
    most = 20 << 20;
    std::string content;
    for (int n = 0; content.size() < most - 10; n++) content += std::to_string(n);
    content.resize(most);
    const std::string path = write("file", content);
    EXPECT_EQ(fetch("file://" + path), 0) << detail;
    EXPECT_TRUE(fetched == content);
    most--;
    EXPECT_EQ(fetch("file://" + path), 9004);
    EXPECT_LE(fetched.size(), most);
}

TEST_F(FetchTest, AVeryLargeFileIsGivenUpEarly) {
    const std::string path = write("file", "");
    ASSERT_EQ(truncate(path.c_str(), off_t{3} << 30), 0);
    EXPECT_EQ(fetch("file://" + path), 9004);
    EXPECT_LE(fetched.size(), most);
    EXPECT_EQ(fetch("file://" + path, "", uint64_t{3} << 30), 9004);
    EXPECT_EQ(fetched, "");
}

TEST_F(FetchTest, WhatIsNoFile) {
    write("file", "content");
    symlink("file", (folder / "link").c_str());
    mkfifo((folder / "fifo").c_str(), 0600);
    for (const char *name : {"missing", "link", "fifo", ".", "file/x"})
        EXPECT_EQ(fetch("file://" + folder / name), 9016) << name;
    for (const char *url : {"file://relative", "file://localhost/etc/hostname", "file:///", "file:///dev/zero"})
        EXPECT_EQ(fetch(url), 9016) << url;
}

TEST_F(FetchTest, FilesAreNotForTheNetwork) {
    const std::string url = "file://" + write("file", "content");
    peer.transport = Transport::tcp;
    EXPECT_EQ(fetch(url), 9001);
    EXPECT_EQ(fetched, "");
}

TEST_F(FetchTest, AFileIsReadWithTheRightsOfThePeer) {
    const std::string mine = write("mine", "secret"), theirs = write("theirs", "theirs"),
                      shared = write("shared", "ours");
    for (const std::string &path : {mine, theirs}) chmod(path.c_str(), 0600);
    chmod(shared.c_str(), 0640);
    EXPECT_EQ(fetch("file://" + mine), 0);
    peer.uid = peer.gid = stranger;
    EXPECT_EQ(fetch("file://" + mine), 9016);
    EXPECT_EQ(fetched, "");
    if (geteuid() != 0) GTEST_SKIP() << "only root can read for others";
    ASSERT_EQ(chown(theirs.c_str(), stranger, 0), 0);
    ASSERT_EQ(chown(shared.c_str(), 0, stranger + 1), 0);
    EXPECT_EQ(fetch("file://" + theirs), 0);
    EXPECT_EQ(fetch("file://" + shared), 9016);
    peer.groups = {stranger + 7, stranger + 1};
    EXPECT_EQ(fetch("file://" + shared), 0);
    EXPECT_EQ(fetch("file:///etc/shadow"), 9016);
}

TEST_F(FetchTest, AConnectionToItsEnd) {
    std::thread thread = serving("content");
    EXPECT_EQ(fetch(server.url), 0) << detail;
    EXPECT_EQ(fetched, "content");
    thread.join();
}

TEST_F(FetchTest, AConnectionToTheSizeOfTheFile) {
    std::thread thread = serving("content and more");
    EXPECT_EQ(fetch(server.url, "9a0364b9e99bb480dd25e1f0284c8555", 7), 0) << detail;
    EXPECT_EQ(fetched, "content");
    thread.join();
    thread = serving("conten");
    EXPECT_EQ(fetch(server.url, "", 7), 9018);
    thread.join();
}

TEST_F(FetchTest, AnEndlessConnection) {
    std::thread thread = serving(std::string(most * 8, 'x'));
    EXPECT_EQ(fetch(server.url), 9004);
    EXPECT_LE(fetched.size(), most);
    server.close();
    thread.join();
}

TEST_F(FetchTest, NobodyThere) {
    server.close();
    EXPECT_EQ(fetch(server.url), 9015);
}

TEST_F(FetchTest, APeerIsAskedFromTheAddressThatItHasReached) {
    peer.transport = Transport::tcp;
    inet_pton(AF_INET, "127.0.0.2", &peer.reached_at);
    for (const auto &[address, source] : {std::pair{"127.0.0.1", "127.0.0.2"}, {"127.0.0.3", "127.0.0.1"}}) {
        inet_pton(AF_INET, address, peer.address.data());
        std::string seen;
        std::thread one([&] { seen = server.accept_and_tell_source(); });
        EXPECT_EQ(fetch(server.url), 0) << detail;
        one.join();
        EXPECT_EQ(seen, source);
    }
    inet_pton(AF_INET, "192.0.2.1", &peer.reached_at);
    inet_pton(AF_INET, "127.0.0.1", peer.address.data());
    EXPECT_EQ(fetch(server.url), 9015) << "an address that has gone";
}

TEST_F(FetchTest, AConnectionThatSaysNothing) {
    limits.transfer_stall_ms = 50;
    EXPECT_EQ(fetch(server.url), 9010);
    EXPECT_EQ(detail, "too slow");
    limits = {};
    limits.transfer_ms = 50;
    EXPECT_EQ(fetch(server.url), 9010);
}

TEST_F(FetchTest, OtherSchemes) {
    for (const char *url :
         {"", "x", "://x", "gopher://127.0.0.1/", "scp://127.0.0.1/", "dict://127.0.0.1/", "ftps://x/y"})
        EXPECT_EQ(fetch(url), 9013) << url;
    for (const char *url :
         {"netcat://127.0.0.1", "netcat://localhost:1", "netcat://127.0.0.1:0", "netcat://127.0.0.1:1x"})
        EXPECT_EQ(fetch(url), 9003) << url;
    EXPECT_EQ(fetch("http://"), 9013);
    EXPECT_EQ(fetch("http://[/"), 9010);
}

TEST_F(FetchTest, CanBeEndedAtAnyTime) {
    const std::string path = write("file", std::string(100'000, 'x'));
    const Descriptor file(open((folder / "fetched").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    for (int n = 0; n < 40; n++) {
        for (const std::string &url : {"file://" + path, server.url, std::string("http") + server.url.substr(6)}) {
            Fetch fetch(base, limits, {url, "", {}, most, peer}, file.get(), [](const Fault &) {});
            for (int turn = 0; turn < n % 10; turn++) event_base_loop(base, EVLOOP_NONBLOCK);
        }
    }
}

}  // namespace

}  // namespace ravd
