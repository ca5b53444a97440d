// download of configurations and files: which URL the daemon is given, and what it is told of the file.
#include <filesystem>
#include <fstream>

#include <sys/stat.h>

#include "tests/support/interrupt.h"
#include "tests/support/netcat.h"
#include "tests/unit/ravc/shell_fixture.h"

namespace {

const char abc_digest[] = R"("MD5":"900150983cd24fb0d6963f7d28e17f72")";

class Download : public ShellFixture {
 protected:
    explicit Download(test::Script script = test::answer_all(),
                      test::FakeDaemon::Over over = test::FakeDaemon::Over::unix_socket)
        : ShellFixture(std::move(script), over) {
        std::ofstream(path_) << "abc";
    }

    test::TempDir dir_;
    std::string path_ = std::filesystem::canonical(dir_.path()).string() + "/file";
};

std::string syntax_of(const std::string &name) {
    return "syntax: " + name + " <firmware|config|file> <path_to_file> [<target_file_name>]\n";
}

TEST_F(Download, NeedsATypeAndAPath) {
    for (const std::vector<std::string> &words : {std::vector<std::string>{},
                                                  {"config"},
                                                  {"config", "a://b", "c", "d"},
                                                  {"Config", "a://b"},
                                                  {"", "a://b"},
                                                  {"log", "a://b"},
                                                  {"firmware"}})
        EXPECT_EQ(run(process_download, "Download", words), (Outcome{-1, syntax_of("Download")}));
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(Download, UpgradeSpeaksOfDownload) {
    EXPECT_EQ(run(process_upgrade, "upgrade"), (Outcome{-1, syntax_of("download")}));
    EXPECT_EQ(run(process_upgrade, "upgrade", {"a", "b", "c"}), (Outcome{-1, syntax_of("download")}));
    EXPECT_EQ(run(process_upgrade, "upgrade", {dir_.path() + "/missing"}), (Outcome{-1, syntax_of("download")}));
}

TEST_F(Download, AFileOfThisMachineIsNamed) {
    EXPECT_EQ(run(process_download, "download", {"config", path_}), (Outcome{0, ""}));
    EXPECT_EQ(run(process_download, "download", {"file", path_, "name"}), (Outcome{0, ""}));
    EXPECT_EQ(sent(), (Sent{R"(Download {"FileType":"Config","URL":"file://)" + path_ + "\"," + abc_digest + "}",
                            R"(Download {"FileType":"File","URL":"file://)" + path_ + "\"," + abc_digest +
                                R"(,"TargetFileName":"name"})"}));
}

TEST_F(Download, AFolderHasNoDigest) {
    run(process_download, "download", {"file", std::filesystem::path(path_).parent_path()});
    const std::string folder = std::filesystem::path(path_).parent_path();
    EXPECT_EQ(sent(), Sent{R"(Download {"FileType":"File","URL":"file://)" + folder + "\"}"});
}

TEST_F(Download, AUrlGoesAsTyped) {
    EXPECT_EQ(run(process_download, "download", {"config", "http://host/c"}), (Outcome{0, ""}));
    EXPECT_EQ(sent(), Sent{R"(Download {"FileType":"Config","URL":"http://host/c"})"});
}

TEST_F(Download, AUrlThatAlsoNamesAFileHasItsDigest) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(dir_.path());
    std::filesystem::create_directory("http:");
    std::filesystem::copy_file(path_, "http:/host");
    EXPECT_EQ(run(process_download, "download", {"config", "http://host"}), (Outcome{0, ""}));
    std::filesystem::current_path(before);
    EXPECT_EQ(sent(), Sent{std::string(R"(Download {"FileType":"Config","URL":"http://host",)") + abc_digest + "}"});
}

TEST_F(Download, AMissingFileIsNotSent) {
    EXPECT_EQ(run(process_download, "download", {"config", dir_.path() + "/missing"}),
              (Outcome{-1, syntax_of("download")}));
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(Download, ARealPathThatIsNoUtf8IsNotSent) {
    const std::string odd = dir_.path() + "/\xff", link = dir_.path() + "/link";
    std::ofstream(odd) << "x";
    ASSERT_EQ(symlink(odd.c_str(), link.c_str()), 0);
    EXPECT_EQ(run(process_download, "download", {"config", link}), (Outcome{-1, syntax_of("download")}));
    EXPECT_EQ(run(process_upload, "upload", {"config", link}),
              (Outcome{-1, "syntax: upload config <remote_url> [<target_file_name>]\n"}));
    EXPECT_EQ(sent(), Sent{});
}

TEST_F(Download, CtrlCThatComesWhileTheFileIsReadLeavesNothingBegun) {
    static std::string path;
    path = path_;
    const test::BlockedInterrupt interrupt(test::jump_out);
    raise(SIGINT);
    EXPECT_TRUE(test::is_abandoned([] {
        json_auto_t *args = json_pack("[s, s]", "config", path.c_str());
        process_download("download", args);
    }));
    EXPECT_EQ(sent(), Sent{});
}

void deny_all(test::Peer &peer) {
    while (const auto request = peer.request()) peer.fail(*request, 9018, "File corrupted");
}

class DeniedDownload : public Download {
 protected:
    DeniedDownload() : Download(deny_all) {}
};

TEST_F(DeniedDownload, TellsWhy) {
    for (const char *type : {"config", "file", "firmware"})
        EXPECT_EQ(run(process_download, "download", {type, "a://b"}), (Outcome{-1, "[9018] File corrupted\n"})) << type;
    EXPECT_EQ(sent(),
              (Sent{R"(Download {"FileType":"Config","URL":"a://b"})", R"(Download {"FileType":"File","URL":"a://b"})",
                    R"(Download {"FileType":"Firmware","URL":"a://b","NeedPreUpdate":true})"}));
}

// A daemon on another machine: it fetches what it is offered, and keeps it as what it answers with.
void fetch_all(test::Peer &peer) {
    while (const auto request = peer.request()) {
        json_auto_t *params = json_loads(test::params_of(*request).c_str(), 0, nullptr);
        const char *url = json_string_value(json_object_get(params, "URL"));
        const std::string got = url ? test::Netcat(url).receive_all() : "";
        peer.fail(*request, 9002, "got <" + got + ">");
    }
}

class RemoteDownload : public Download {
 protected:
    RemoteDownload() : Download(fetch_all, test::FakeDaemon::Over::tcp) {
        EXPECT_EQ(rv_jrpcapi_connect(requests_connection()), 0);
    }
    // What was sent last, the port in it as "PORT".
    std::string sent_last() {
        const Sent requests = sent();
        if (requests.empty()) return "";
        return without_port(requests.back());
    }
    static std::string without_port(std::string text) {
        const std::string before = "netcat://127.0.0.1:";
        const size_t at = text.find(before);
        if (at == text.npos) return text;
        const size_t begin = at + before.size();
        return text.replace(begin, text.find_first_not_of("0123456789", begin) - begin, "PORT");
    }
};

TEST_F(RemoteDownload, AFileIsServed) {
    const Outcome outcome = run(process_download, "download", {"config", path_, "name"});
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(without_port(outcome.text),
              "Sending file (" + path_ + ", 3 bytes) via netcat (netcat://127.0.0.1:PORT)...\n[9002] got <abc>\n");
    EXPECT_EQ(sent_last(), std::string(R"(Download {"FileType":"Config","URL":"netcat://127.0.0.1:PORT",)") +
                               abc_digest + R"(,"TargetFileName":"name","FileSize":3})");
}

TEST_F(RemoteDownload, AUrlIsNotServed) {
    EXPECT_EQ(run(process_download, "download", {"config", "http://host/c"}).text, "[9002] got <>\n");
    EXPECT_EQ(sent_last(), R"(Download {"FileType":"Config","URL":"http://host/c"})");
}

TEST_F(RemoteDownload, TheRequestGoesOutThoughItSaysAborting) {
    const std::string missing = dir_.path() + "/missing";
    EXPECT_EQ(run(process_download, "download", {"file", missing, "name"}),
              (Outcome{-1, "Cannot open file (" + missing + "), aborting.\n[9002] got <>\n"}));
    EXPECT_EQ(sent_last(), R"(Download {"FileType":"File","URL":"","TargetFileName":"name"})");
}

class Ipv6Download : public Download {
 protected:
    Ipv6Download() : Download(fetch_all, test::FakeDaemon::Over::tcp6) {}
};

TEST_F(Ipv6Download, TheRequestGoesOutWithTheDigestAndNoUrl) {
    EXPECT_EQ(run(process_download, "download", {"config", path_}),
              (Outcome{-1, "Cannot get local address, aborting.\n[9002] got <>\n"}));
    EXPECT_EQ(sent(), Sent{std::string(R"(Download {"FileType":"Config","URL":"",)") + abc_digest + "}"});
}

}  // namespace
