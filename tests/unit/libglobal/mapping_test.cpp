// Files mapped into memory.
#include <string>

#include <errno.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "rv/fs.h"
#include "tests/support/temporary_folder.h"

namespace {

TEST(Mapping, HoldsTheFile) {
    TemporaryFolder folder;
    put_file(folder / "file", "some bytes");
    size_t size = 0;
    const void *mapping = rv_fs_mmap_file_adv((folder / "file").c_str(), 0, &size, 0);
    ASSERT_TRUE(mapping);
    EXPECT_EQ(std::string(static_cast<const char *>(mapping), size), "some bytes");
    rv_fs_munmap_file(mapping, size);
}

TEST(Mapping, AnEmptyFileHasNoBytes) {
    TemporaryFolder folder;
    put_file(folder / "file", "");
    size_t size = 1;
    const void *mapping = rv_fs_mmap_file_adv((folder / "file").c_str(), 0, &size, 0);
    EXPECT_TRUE(mapping);
    EXPECT_EQ(size, 0U);
    rv_fs_munmap_file(mapping, size);
    rv_fs_munmap_file(nullptr, 0);
}

TEST(Mapping, OnlyOfRegularFilesAndNeverWaiting) {
    TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    ASSERT_EQ(mkdir((folder / "folder").c_str(), 0700), 0);
    for (const auto &[name, number] : {std::pair{"fifo", EINVAL}, {"folder", EISDIR}, {"missing", ENOENT}}) {
        size_t size = 7;
        EXPECT_FALSE(rv_fs_mmap_file_adv((folder / name).c_str(), 0, &size, 0)) << name;
        EXPECT_EQ(errno, number) << name;
        EXPECT_EQ(size, 7U) << name;
    }
}

// More than an int counts, and hardly any of it on the disk.
TEST(Mapping, LargeFiles) {
    TemporaryFolder folder;
    constexpr size_t large = size_t{3} << 30;
    put_file(folder / "file", "x");
    ASSERT_EQ(truncate((folder / "file").c_str(), large), 0);
    size_t size = 0;
    const void *mapping = rv_fs_mmap_file_adv((folder / "file").c_str(), 0, &size, 0);
    ASSERT_TRUE(mapping);
    EXPECT_EQ(size, large);
    EXPECT_EQ(static_cast<const char *>(mapping)[large - 1], '\0');
    rv_fs_munmap_file(mapping, size);
}

}  // namespace
