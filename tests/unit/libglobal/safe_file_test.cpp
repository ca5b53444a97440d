// What may stand at a file's name, and what becomes of it.
#include "libglobal/base/safe_file.h"

#include <thread>

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "rv/fs.h"
#include "tests/support/temporary_folder.h"

namespace {

int read_file(const std::string &path, std::string *text) {
    return rv::safe_file_read(path.c_str(), text);
}

int write_file(const std::string &path, std::string_view text) {
    return rv::safe_file_write(path.c_str(), text);
}

TEST(SafeFile, OwnFileIsRead) {
    TemporaryFolder folder;
    put_file(folder / "own", "one\ntwo");
    std::string text = "before";
    EXPECT_EQ(read_file(folder / "own", &text), 0);
    EXPECT_EQ(text, "one\ntwo");
}

TEST(SafeFile, WhatIsNoPrivateFileIsNotRead) {
    TemporaryFolder folder;
    put_file(folder / "victim", "secret");
    put_file(folder / "group", "secret", 0620);
    put_file(folder / "world", "secret", 0602);
    ASSERT_EQ(symlink((folder / "victim").c_str(), (folder / "link").c_str()), 0);
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    ASSERT_EQ(mkdir((folder / "folder").c_str(), 0700), 0);
    for (const char *name : {"link", "fifo", "folder", "group", "world", "missing"}) {
        std::string text = "before";
        EXPECT_EQ(read_file(folder / name, &text), -1) << name;
        EXPECT_EQ(text, "before") << name;
    }
    ASSERT_EQ(link((folder / "victim").c_str(), (folder / "hard").c_str()), 0);
    std::string text;
    EXPECT_EQ(read_file(folder / "hard", &text), -1);
    EXPECT_EQ(rv::safe_file_read("/dev/zero", &text), -1);
}

TEST(SafeFile, AnotherUsersFileIsNotRead) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    TemporaryFolder folder;
    put_file(folder / "foreign", "planted");
    ASSERT_EQ(chown((folder / "foreign").c_str(), 12345, 12345), 0);
    std::string text;
    EXPECT_EQ(read_file(folder / "foreign", &text), -1);
}

TEST(SafeFile, SizeIsBounded) {
    TemporaryFolder folder;
    put_file(folder / "most", std::string(rv::safe_file_limit, 'x'));
    put_file(folder / "huge", "");
    ASSERT_EQ(truncate((folder / "huge").c_str(), off_t{1} << 30), 0);
    std::string text;
    EXPECT_EQ(read_file(folder / "most", &text), 0);
    EXPECT_EQ(text.size(), rv::safe_file_limit);
    EXPECT_EQ(read_file(folder / "huge", &text), -1);
    put_file(folder / "most", std::string(rv::safe_file_limit + 1, 'x'));
    EXPECT_EQ(read_file(folder / "most", &text), -1);
}

TEST(SafeFile, ANewFileIsPrivateAndTakesThePlaceOfTheOld) {
    TemporaryFolder folder;
    put_file(folder / "file", "old", 0666);
    EXPECT_EQ(write_file(folder / "file", "new"), 0);
    EXPECT_EQ(file_text(folder / "file"), "new");
    EXPECT_EQ(mode_of(folder / "file"), S_IFREG | 0600u);
    EXPECT_EQ(folder.entries(), 1u);
}

TEST(SafeFile, LinksAreReplacedAndTheirTargetsStay) {
    TemporaryFolder folder;
    put_file(folder / "victim", "precious");
    ASSERT_EQ(symlink((folder / "victim").c_str(), (folder / "soft").c_str()), 0);
    ASSERT_EQ(link((folder / "victim").c_str(), (folder / "hard").c_str()), 0);
    EXPECT_EQ(write_file(folder / "soft", "new"), 0);
    EXPECT_EQ(write_file(folder / "hard", "new"), 0);
    EXPECT_EQ(file_text(folder / "victim"), "precious");
    EXPECT_EQ(mode_of(folder / "soft"), S_IFREG | 0600u);
    EXPECT_EQ(file_text(folder / "hard"), "new");
}

TEST(SafeFile, WhatCantBeWrittenStaysAndLeavesNothingBehind) {
    TemporaryFolder folder;
    ASSERT_EQ(mkdir((folder / "folder").c_str(), 0700), 0);
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    EXPECT_EQ(write_file(folder / "folder", "text"), -1);
    EXPECT_EQ(write_file(folder / "fifo", "text"), -1);
    EXPECT_EQ(errno, ENXIO);
    EXPECT_EQ(write_file(folder / "missing/file", "text"), -1);
    EXPECT_EQ(rv::safe_file_write("/dev/full", "text"), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(folder.entries(), 2u);
}

TEST(SafeFile, DevicesAndFifosAreWrittenDirectly) {
    TemporaryFolder folder;
    const std::string fifo = folder / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const int reader = open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    const std::string text(300000, 'x');  // more than a FIFO holds
    std::string got;
    std::thread thread([&] {
        char buffer[4096];
        while (got.size() < text.size()) {
            const ssize_t count = read(reader, buffer, sizeof buffer);
            if (count > 0) got.append(buffer, static_cast<size_t>(count));
        }
    });
    EXPECT_EQ(write_file(fifo, text), 0);
    thread.join();
    close(reader);
    EXPECT_EQ(got, text);
    EXPECT_TRUE(S_ISFIFO(mode_of(fifo)));
    EXPECT_EQ(rv::safe_file_write("/dev/null", "text"), 0);
}

TEST(SafeFile, TouchMakesAPrivateFileAndKeepsAnExistingOne) {
    TemporaryFolder folder;
    EXPECT_EQ(rv_fs_touch((folder / "new").c_str()), 0);
    EXPECT_EQ(mode_of(folder / "new"), S_IFREG | 0600u);
    put_file(folder / "old", "text", 0644);
    EXPECT_EQ(rv_fs_touch((folder / "old").c_str()), 0);
    EXPECT_EQ(file_text(folder / "old"), "text");
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    EXPECT_EQ(rv_fs_touch((folder / "fifo").c_str()), 0);
}

TEST(SafeFile, TouchRefusesLinksAndFolders) {
    TemporaryFolder folder;
    ASSERT_EQ(symlink((folder / "nowhere").c_str(), (folder / "link").c_str()), 0);
    EXPECT_EQ(rv_fs_touch((folder / "link").c_str()), -1);
    EXPECT_EQ(errno, ELOOP);
    EXPECT_EQ(access((folder / "nowhere").c_str(), F_OK), -1);
    ASSERT_EQ(mkdir((folder / "folder").c_str(), 0700), 0);
    EXPECT_EQ(rv_fs_touch((folder / "folder").c_str()), -1);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(rv_fs_touch((folder / "missing/file").c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
}

}  // namespace
