// The database file: who may read it, what happens when it is damaged, and transactions.
#include "ravd/persist/database.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

namespace ravd {
namespace {

class DatabaseTest : public testing::Test {
 protected:
    DatabaseTest() {
        char name[] = "/tmp/ravd-database-XXXXXX";
        folder = mkdtemp(name);
        path = folder + "/ravd.db";
    }
    ~DatabaseTest() override { std::filesystem::remove_all(folder); }

    // How many accounts the database has; -1 with error when it can't be opened.
    int count() {
        Database database;
        if (!database.open(folder, error)) return -1;
        Statement rows = database.prepare("SELECT count(*) FROM account");
        return rows.step() ? static_cast<int>(rows.integer(0)) : -1;
    }
    void insert(int number) {
        Database database;
        ASSERT_TRUE(database.open(folder, error)) << error;
        Statement row = database.prepare("INSERT INTO account VALUES (?, ?, 1, 'user', '', '', '')");
        row.bind(1, number).bind(2, "it's; DROP TABLE account; --").step();
        EXPECT_FALSE(database.failed()) << database.error();
    }

    std::string folder, path, error;
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

TEST_F(DatabaseTest, ADamagedFileIsPutAside) {
    insert(1);
    for (int n = 1; n <= 2; n++) {
        std::ofstream(path, std::ios::trunc) << "this is no database, whatever its name says; not at all";
        testing::internal::CaptureStderr();
        EXPECT_EQ(count(), 0) << error;
        EXPECT_NE(testing::internal::GetCapturedStderr().find("damaged"), std::string::npos);
        EXPECT_TRUE(std::filesystem::exists(path + ".corrupt-" + std::to_string(n)));
    }
}

TEST_F(DatabaseTest, DamageInsideIsFound) {
    insert(1);
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(4096);
    file << std::string(4096, '\xff');
    file.close();
    testing::internal::CaptureStderr();
    EXPECT_EQ(count(), 0) << error;
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
        ASSERT_TRUE(database.open(folder, error));
        EXPECT_TRUE(database.run("PRAGMA user_version = 1000"));
    }
    EXPECT_EQ(count(), -1);
    EXPECT_EQ(error, path + ": made by a newer version");
    EXPECT_FALSE(std::filesystem::exists(path + ".corrupt-1"));
}

TEST_F(DatabaseTest, ATransactionIsAllOrNothing) {
    Database database;
    ASSERT_TRUE(database.open(folder, error));
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
