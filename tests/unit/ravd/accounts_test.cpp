// Accounts between model and database: first start, what lasts, who is told, and changes that can't be stored.
#include "ravd/accounts.h"

#include <gtest/gtest.h>

#include "ravd/model/model.h"
#include "ravd/model/parts.h"
#include "ravd/model/read.h"
#include "ravd/model/write.h"
#include "ravd/password.h"
#include "ravd/persist/database.h"
#include "tests/support/temporary_folder.h"

namespace ravd {
namespace {

const Viewer admin = {Role::admin, {}};

class AccountsTest : public testing::Test {
 protected:
    AccountsTest() { start(); }
    ~AccountsTest() override { stop(); }

    void start() {
        std::string error;
        database = std::make_unique<Database>();
        EXPECT_TRUE(database->open(folder.path(), error)) << error;
        model = Model::load(RAV_SOURCE "/schema", {}, error);
        accounts = std::make_unique<Accounts>(*model, *database, lowest_hash_cost);
        accounts->listen([this](const AccountChange &change) {
            told += change.name + (change.ended ? " ended;" : " role " + std::to_string(int(change.role)) + ";");
        });
        testing::internal::CaptureStderr();
        EXPECT_TRUE(accounts->load(error)) << error;
        log = testing::internal::GetCapturedStderr();
    }
    void stop() {
        accounts.reset();
        model.reset();
        database.reset();
    }
    void restart() {
        stop();
        start();
    }

    int add() {
        std::string result;
        const Fault fault = add_object(*model, admin, "Device.Users.User.", result);
        int number = -fault.code;
        sscanf(result.c_str(), "{\"InstanceNumber\":%d", &number);
        return number;
    }
    int del(int number) {
        std::string result;
        return delete_object(*model, admin, "Device.Users.User." + std::to_string(number), result).code;
    }
    // value: JSON text. Passwords are hashed on the way.
    int set(int number, const std::string &parameter, const std::string &value) {
        const std::string text = R"([{"Name":"Device.Users.User.)" + std::to_string(number) + "." + parameter +
                                 R"(","Value":)" + value + "}]";
        const Json pairs(json_loads(text.c_str(), 0, nullptr));
        Hashes hashes;
        std::string result;
        Fault fault = set_values(*model, admin, pairs.get(), false, result, &hashes);
        if (!fault && !hashes.wanted.empty()) {
            EXPECT_EQ(result, "");
            for (const auto &[name, wanted] : hashes.wanted)
                hashes.made[name] = hash_password(wanted, lowest_hash_cost);
            hashes.wanted.clear();
            fault = set_values(*model, admin, pairs.get(), false, result, &hashes);
        }
        return fault.code;
    }

    const TemporaryFolder folder;
    std::string log, told;
    std::unique_ptr<Database> database;
    std::unique_ptr<Model> model;
    std::unique_ptr<Accounts> accounts;
};

TEST_F(AccountsTest, TheFirstStartMakesAnAdminAndTellsThePasswordOnce) {
    const std::string start = "<5>first start: the user admin has the password ";
    ASSERT_TRUE(log.starts_with(start)) << log;
    const std::string password = log.substr(start.size(), log.find('\n') - start.size());
    EXPECT_EQ(password.size(), 20U);
    const auto account = accounts->find("admin");
    ASSERT_TRUE(account);
    EXPECT_EQ(account->number, 1U);
    EXPECT_EQ(account->role, Role::admin);
    EXPECT_TRUE(verify_password(password, account->password_hash));
    restart();
    EXPECT_EQ(log, "");
    EXPECT_EQ(accounts->find("admin")->password_hash, account->password_hash);
}

TEST_F(AccountsTest, EveryChangeLasts) {
    EXPECT_EQ(add(), 2);
    EXPECT_FALSE(accounts->find("anna"));
    EXPECT_EQ(set(2, "Username", R"("anna")"), 0);
    EXPECT_FALSE(accounts->find("anna")) << "not enabled";
    EXPECT_EQ(set(2, "Enable", "true"), 0);
    EXPECT_EQ(set(2, "Role", R"("user")"), 0);
    EXPECT_EQ(set(2, "Alias", R"("a")"), 0);
    EXPECT_EQ(set(2, "Language", R"("de")"), 0);
    EXPECT_EQ(set(2, "Password", R"("geheim")"), 0);
    restart();
    const auto account = accounts->find("anna");
    ASSERT_TRUE(account);
    EXPECT_EQ(account->number, 2U);
    EXPECT_EQ(account->role, Role::user);
    EXPECT_TRUE(verify_password("geheim", account->password_hash));
    std::string values;
    const Json names(json_loads(R"(["Device.Users.User.2."])", 0, nullptr));
    EXPECT_FALSE(read_values(*model, admin, names.get(), false, values));
    for (const char *part : {R"("a")", R"("de")", R"("anna")", R"(Password","Value":"")"})
        EXPECT_NE(values.find(part), values.npos) << part;
}

TEST_F(AccountsTest, NumbersAreNotUsedTwice) {
    EXPECT_EQ(add(), 2);
    EXPECT_EQ(add(), 3);
    EXPECT_EQ(del(3), 0);
    restart();
    EXPECT_FALSE(accounts->find(3U));
    EXPECT_EQ(add(), 4);
    EXPECT_EQ(del(1), 0);
    restart();
    EXPECT_EQ(log, "") << "the first start was another one";
    EXPECT_FALSE(accounts->find("admin"));
}

TEST_F(AccountsTest, TheTextOfAPasswordIsNeverStored) {
    EXPECT_EQ(set(1, "Password", R"("canary-1234")"), 0);
    const SchemaNode &user = *model->parts().schema->root.find("Device")->find("Users")->find("User");
    const Record &record = *model->parts().root->table(user).find(1);
    EXPECT_TRUE(std::get<std::string>(record.value(*user.instance().find("Password"))).starts_with("$y$"));
    EXPECT_EQ(set(1, "Password", R"("")"), 0);
    EXPECT_EQ(accounts->find(1U)->password_hash, "");
    EXPECT_FALSE(verify_password("", ""));
    const Json pairs(json_loads(R"([{"Name":"Device.Users.User.1.Password","Value":"x"}])", 0, nullptr));
    std::string result;
    EXPECT_EQ(set_values(*model, admin, pairs.get(), false, result).code, 9002) << "nobody hashes";
    EXPECT_EQ(accounts->find(1U)->password_hash, "");
}

TEST_F(AccountsTest, WhoMustFollowIsTold) {
    EXPECT_EQ(set(1, "Alias", R"("x")"), 0);
    EXPECT_EQ(told, "");
    EXPECT_EQ(set(1, "Role", R"("user")"), 0);
    EXPECT_EQ(told, "admin role 1;");
    told.clear();
    EXPECT_EQ(set(1, "Password", R"("new")"), 0);
    EXPECT_EQ(set(1, "Username", R"("boss")"), 0);
    EXPECT_EQ(set(1, "Enable", "false"), 0);
    EXPECT_EQ(told, "admin ended;admin ended;boss ended;");
    told.clear();
    EXPECT_EQ(set(1, "Role", R"("admin")"), 0);
    EXPECT_EQ(set(1, "Enable", "true"), 0);
    EXPECT_EQ(told, "");
    EXPECT_EQ(del(1), 0);
    EXPECT_EQ(told, "boss ended;");
}

TEST_F(AccountsTest, WhatCanNotBeStoredIsNotDone) {
    EXPECT_TRUE(database->run("PRAGMA query_only = ON"));
    testing::internal::CaptureStderr();
    EXPECT_EQ(add(), -9002);
    EXPECT_EQ(set(1, "Username", R"("boss")"), 9002);
    EXPECT_EQ(del(1), 9002);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("could not be stored"), std::string::npos);
    EXPECT_EQ(told, "");
    EXPECT_TRUE(accounts->find("admin"));
    EXPECT_TRUE(database->run("PRAGMA query_only = OFF"));
    EXPECT_EQ(add(), 2);
    restart();
    EXPECT_TRUE(accounts->find("admin"));
}

TEST_F(AccountsTest, APasswordIsSetInTheDatabaseOfAStoppedDaemon) {
    std::string error;
    EXPECT_TRUE(set_stored_password(*database, "admin", hash_password("new", lowest_hash_cost), error)) << error;
    EXPECT_FALSE(set_stored_password(*database, "nobody", "x", error));
    EXPECT_EQ(error, "there is no user nobody");
    EXPECT_FALSE(set_stored_password(*database, "", "x", error));
    restart();
    EXPECT_TRUE(verify_password("new", accounts->find("admin")->password_hash));
}

TEST(Passwords, HashesHaveTheirOwnSalts) {
    const std::string hash = hash_password("pw", lowest_hash_cost);
    EXPECT_TRUE(hash.starts_with("$y$")) << hash;
    EXPECT_NE(hash, hash_password("pw", lowest_hash_cost));
    EXPECT_TRUE(verify_password("pw", hash));
    EXPECT_FALSE(verify_password("pW", hash));
    EXPECT_FALSE(verify_password("", hash));
    EXPECT_FALSE(verify_password("pw", "no hash"));
    std::string text(100, 'x');
    const char *bytes = text.data();
    wipe(text);
    EXPECT_EQ(text, "");
    EXPECT_EQ(bytes[1], '\0');
}

}  // namespace
}  // namespace ravd
