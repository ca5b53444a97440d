// The database file: who may read it, what happens when it is damaged, and transactions.
#include "ravd/persist/database.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/temporary_folder.h"

namespace ravd {
namespace {

class DatabaseTest : public testing::Test {
 protected:
    // How many accounts the database has; -1 with error when it can't be opened.
    int count() {
        Database database;
        if (!database.open(folder.path(), error)) return -1;
        Statement rows = database.prepare("SELECT count(*) FROM account");
        return rows.step() ? static_cast<int>(rows.integer(0)) : -1;
    }
    void insert(int number) {
        Database database;
        ASSERT_TRUE(database.open(folder.path(), error)) << error;
        database.begin();
        Statement row = database.prepare("INSERT INTO account VALUES (?, ?, 1, 'user', '', '', '')");
        row.bind(1, number).bind(2, "it's; DROP TABLE account; --").step();
        row = {};
        EXPECT_TRUE(database.commit()) << database.error();
    }

    const TemporaryFolder folder;
    const std::string path = folder / "ravd.db";
    std::string error;
};

TEST_F(DatabaseTest, IsMadeForItsOwnerOnlyAndKeepsWhatWasStored) {
    umask(0);
    EXPECT_EQ(count(), 0);
    struct stat file = {};
    ASSERT_EQ(stat(path.c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 07777, 0600U);
    insert(3);
    insert(4);
    EXPECT_EQ(count(), 2);
}

TEST_F(DatabaseTest, ADamagedFileIsPutAsideAndWithoutACopyANewOneBegun) {
    insert(1);
    for (int n = 1; n <= 2; n++) {
        std::filesystem::remove(path + ".good");
        std::ofstream(path, std::ios::trunc) << "this is no database, whatever its name says; not at all";
        testing::internal::CaptureStderr();
        EXPECT_EQ(count(), 0) << error;
        EXPECT_NE(testing::internal::GetCapturedStderr().find("damaged"), std::string::npos);
        EXPECT_TRUE(std::filesystem::exists(path + ".corrupt-" + std::to_string(n)));
    }
}

TEST_F(DatabaseTest, TheLastGoodCopyTakesThePlaceOfWhatIsDamagedOrGone) {
    insert(1);
    insert(2);
    const auto damage = {
        +[](const std::string &file) { std::ofstream(file, std::ios::trunc) << "this is no database"; },
        +[](const std::string &file) { std::ofstream(file, std::ios::trunc).flush(); },
        +[](const std::string &file) { std::filesystem::remove(file); }};
    for (const auto &each : damage) {
        each(path);
        testing::internal::CaptureStderr();
        EXPECT_EQ(count(), 2);
        EXPECT_NE(testing::internal::GetCapturedStderr().find("the last good copy is used"), std::string::npos);
        EXPECT_EQ(count(), 2) << "which is a database like any other then";
    }
    EXPECT_TRUE(std::filesystem::exists(path + ".corrupt-1"));
    EXPECT_FALSE(std::filesystem::exists(path + ".corrupt-2"));
    EXPECT_EQ(std::filesystem::status(path + ".good").permissions(), std::filesystem::perms(0600));
}

TEST_F(DatabaseTest, ADamagedCopyIsNotUsed) {
    insert(1);
    for (const char *end : {"", ".good"}) std::ofstream(path + end, std::ios::trunc) << "this is no database";
    testing::internal::CaptureStderr();
    EXPECT_EQ(count(), 0) << error;
    testing::internal::GetCapturedStderr();
    EXPECT_TRUE(std::filesystem::exists(path + ".corrupt-2"));
}

TEST_F(DatabaseTest, AJournalThatWasLeftBehindUndoesNothingOfTheCopy) {
    std::string journal;
    {
        Database database;
        ASSERT_TRUE(database.open(folder.path(), error)) << error;
        database.begin();
        for (int number = 1; number <= 500; number++)
            database.prepare("INSERT INTO account VALUES (?, '', 1, 'user', '', '', '')").bind(1, number).step();
        std::ifstream in(path + "-journal", std::ios::binary);
        journal.assign(std::istreambuf_iterator<char>(in), {});
        EXPECT_TRUE(database.commit());
    }
    ASSERT_GT(journal.size(), 8U);
    journal.replace(0, 8, "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7");  // as it begins once it is on the disk
    std::filesystem::remove(path);
    std::ofstream(path + "-journal", std::ios::binary) << journal;
    testing::internal::CaptureStderr();
    EXPECT_EQ(count(), 500) << error;
    testing::internal::GetCapturedStderr();
    EXPECT_FALSE(std::filesystem::exists(path + ".corrupt-1"));
}

TEST_F(DatabaseTest, AnotherValueThanWasStoredIsDamage) {
    insert(1);
    std::ifstream in(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), {});
    const size_t place = bytes.find("DROP TABLE");
    ASSERT_NE(place, std::string::npos);
    bytes[place] = 'd';
    std::ofstream(path, std::ios::binary) << bytes;
    testing::internal::CaptureStderr();
    Database database;
    EXPECT_TRUE(database.open(folder.path(), error)) << error;
    EXPECT_TRUE(database.is_copy());
    testing::internal::GetCapturedStderr();
}

TEST_F(DatabaseTest, DamageInsideIsFound) {
    insert(1);
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(4096);
    file << std::string(4096, '\xff');
    file.close();
    testing::internal::CaptureStderr();
    EXPECT_EQ(count(), 1) << error;
    testing::internal::GetCapturedStderr();
    EXPECT_TRUE(std::filesystem::exists(path + ".corrupt-1"));
}

TEST_F(DatabaseTest, WhatIsNoFileOrNewerIsRefused) {
    std::filesystem::create_symlink("/dev/null", path);
    EXPECT_EQ(count(), -1);
    EXPECT_NE(error.find(path), std::string::npos) << error;
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_EQ(count(), -1);
    std::filesystem::remove(path);
    {
        Database database;
        ASSERT_TRUE(database.open(folder.path(), error));
        EXPECT_TRUE(database.run("PRAGMA user_version = 1000"));
    }
    EXPECT_EQ(count(), -1);
    EXPECT_EQ(error, path + ": made by a newer version");
    EXPECT_FALSE(std::filesystem::exists(path + ".corrupt-1"));
}

TEST_F(DatabaseTest, ATransactionIsAllOrNothing) {
    Database database;
    ASSERT_TRUE(database.open(folder.path(), error));
    database.begin();
    database.run("UPDATE account_numbers SET last = 7");
    EXPECT_FALSE(database.run("INSERT INTO nowhere VALUES (1)"));
    EXPECT_FALSE(database.commit());
    EXPECT_NE(database.error(), "");
    database.begin();
    EXPECT_FALSE(database.failed());
    Statement last = database.prepare("SELECT last FROM account_numbers");
    ASSERT_TRUE(last.step());
    EXPECT_EQ(last.integer(0), 0);
    last = {};
    EXPECT_TRUE(database.commit());
}

}  // namespace
}  // namespace ravd
