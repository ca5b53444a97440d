// Digests of files and of parts of them.
#include "rv/md5.h"

#include <string>

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "rv/wait.h"
#include "tests/support/interrupt.h"
#include "tests/support/temporary_folder.h"

namespace {

// The digest as text, "" when there is none.
std::string digest_of(const std::string &path, int64_t offset = 0, int64_t length = -1) {
    rv_md5 digest;
    char text[RV_MD5_TEXT_SIZE];
    if (rv_md5_calculate_from_file_region(path.c_str(), offset, length, &digest) != 0) return "";
    EXPECT_EQ(rv_md5_to_str(&digest, text, sizeof text), 0);
    return text;
}

TEST(Md5, KnownDigests) {
    TemporaryFolder folder;
    put_file(folder / "empty", "");
    put_file(folder / "abc", "abc");
    put_file(folder / "million", std::string(1'000'000, 'a'));
    EXPECT_EQ(digest_of(folder / "empty"), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(digest_of(folder / "abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(digest_of(folder / "million"), "7707d6ae4e027c70eea2a935c2296f21");
}

TEST(Md5, Regions) {
    TemporaryFolder folder;
    put_file(folder / "file", "xxabcyy");
    put_file(folder / "tail", "xxabc");
    EXPECT_EQ(digest_of(folder / "file", 2, 3), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(digest_of(folder / "tail", 2), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(digest_of(folder / "file", 7, 0), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(digest_of(folder / "file", 100), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(digest_of(folder / "file", 2, 6), "");  // there are five
    EXPECT_EQ(digest_of(folder / "file", -1), "");
}

TEST(Md5, OnlyOfRegularFilesAndNeverWaiting) {
    TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    ASSERT_EQ(mkdir((folder / "folder").c_str(), 0700), 0);
    for (const auto &[name, number] : {std::pair{"fifo", EINVAL}, {"folder", EISDIR}, {"missing", ENOENT}}) {
        EXPECT_EQ(digest_of(folder / name), "") << name;
        EXPECT_EQ(errno, number) << name;
    }
}

TEST(Md5, EndsEarlyForAnInterruptThatWaits) {
    TemporaryFolder folder;
    put_file(folder / "file", "abc");
    test::BlockedInterrupt interrupt([](int) {});
    EXPECT_FALSE(rv_interrupt_pending());
    raise(SIGINT);
    EXPECT_TRUE(rv_interrupt_pending());
    EXPECT_EQ(digest_of(folder / "file"), "");
    EXPECT_EQ(errno, EINTR);
    rv_sleep_ms(0);
    EXPECT_FALSE(rv_interrupt_pending());
    EXPECT_NE(digest_of(folder / "file"), "");
}

TEST(Md5, TextNeedsItsRoom) {
    rv_md5 digest = {};
    digest.bytes[0] = 0xab;
    char text[RV_MD5_TEXT_SIZE];
    EXPECT_EQ(rv_md5_to_str(&digest, text, sizeof text - 1), -1);
    EXPECT_EQ(rv_md5_to_str(&digest, text, sizeof text), 0);
    EXPECT_STREQ(text, "ab000000000000000000000000000000");
}

}  // namespace
