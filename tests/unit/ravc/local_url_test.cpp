// What a typed word is to the daemon.
#include "ravc/commands/local_url.h"

#include <filesystem>
#include <fstream>

#include <sys/stat.h>

#include "tests/unit/ravc/shell_fixture.h"

namespace {

class LocalUrl : public ShellFixture {
 protected:
    explicit LocalUrl(test::FakeDaemon::Over over = test::FakeDaemon::Over::unix_socket)
        : ShellFixture(test::answer_all(), over) {}

    std::string url_of(const std::string &word) {
        char url[URL_MAX + 1] = "?";
        code_ = local_url(word.c_str(), url);
        return url;
    }

    std::string real_path() const { return std::filesystem::canonical(dir_.path()); }
    void put(const std::string &name) { std::ofstream(dir_.path() + "/" + name) << "x"; }

    test::TempDir dir_;
    int code_ = -1;
};

class RemoteUrl : public LocalUrl {
 protected:
    RemoteUrl() : LocalUrl(test::FakeDaemon::Over::tcp) {}
};

// The working folder, for as long as the object lives.
class WorkingFolder {
 public:
    explicit WorkingFolder(const std::string &path) : before_(std::filesystem::current_path()) {
        std::filesystem::current_path(path);
    }
    ~WorkingFolder() { std::filesystem::current_path(before_); }
    WorkingFolder(const WorkingFolder &) = delete;
    WorkingFolder &operator=(const WorkingFolder &) = delete;

 private:
    std::filesystem::path before_;
};

TEST_F(LocalUrl, AUrlStaysAsTyped) {
    EXPECT_EQ(url_of("http://user@host/%20?q#f"), "http://user@host/%20?q#f");
    EXPECT_EQ(code_, URL_KNOWN);
}

TEST_F(LocalUrl, AFileIsNamedByItsRealPath) {
    put("file");
    ASSERT_EQ(symlink("file", (dir_.path() + "/link").c_str()), 0);
    const WorkingFolder here(dir_.path());
    for (const char *word : {"file", "./file", "link", "../../proc/self/cwd/file"}) {
        EXPECT_EQ(url_of(word), "file://" + real_path() + "/file") << word;
        EXPECT_EQ(code_, URL_KNOWN);
    }
    EXPECT_EQ(url_of("."), "file://" + real_path());
}

TEST_F(LocalUrl, AFileThatIsNotThereIsWrong) {
    for (const char *word : {"/missing/file", "", "http:/host"}) {
        EXPECT_EQ(url_of(word), "") << word;
        EXPECT_EQ(code_, URL_WRONG) << word;
    }
}

TEST_F(LocalUrl, ATypedUrlHasALimit) {
    std::string url = "http://" + std::string(URL_MAX - 7, 'x');
    EXPECT_EQ(url_of(url), url);
    EXPECT_EQ(code_, URL_KNOWN);
    for (const size_t more : {size_t{1}, size_t{10 * URL_MAX}}) {
        EXPECT_EQ(url_of(url + std::string(more, 'x')), "");
        EXPECT_EQ(code_, URL_WRONG);
    }
}

// A real path that makes a URL of length bytes, in a chain of folders below the working folder.
void make_deep(const std::string &begin, size_t length) {
    size_t left = length - strlen("file://") - begin.size();
    while (left > 0) {
        size_t name = std::min<size_t>(left - 1, 200);
        if (left - 1 - name == 1) name--;  // a path can't end in "/"
        const std::string folder(name, 'd');
        ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
        ASSERT_EQ(chdir(folder.c_str()), 0);
        left -= name + 1;
    }
}

TEST_F(LocalUrl, ARealPathThatDoesNotFitIsNotCut) {
    for (const auto &[length, code] : {std::pair{URL_MAX - 1, URL_KNOWN}, {URL_MAX, URL_WRONG}}) {
        const test::TempDir dir;
        const WorkingFolder here(dir.path());
        make_deep(std::filesystem::canonical(dir.path()), static_cast<size_t>(length));
        const std::string url = url_of(".");
        EXPECT_EQ(code_, code) << length;
        if (code == URL_KNOWN) {
            EXPECT_EQ(url.size(), static_cast<size_t>(length));
        }
    }
}

TEST_F(RemoteUrl, WhatIsNoUrlIsNone) {
    for (const char *word : {"/tmp", "/missing", ""}) {
        EXPECT_EQ(url_of(word), "");
        EXPECT_EQ(code_, URL_NONE);
    }
    EXPECT_EQ(url_of("a://b"), "a://b");
    EXPECT_EQ(code_, URL_KNOWN);
}

}  // namespace
