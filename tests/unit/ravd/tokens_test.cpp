// Tokens: their form, what is stored of them, how many there may be, and when they end.
#include "ravd/tokens.h"

#include <fstream>
#include <set>

#include <gtest/gtest.h>

#include "ravd/persist/database.h"
#include "tests/support/temporary_folder.h"

namespace ravd {
namespace {

class TokensTest : public testing::Test {
 protected:
    TokensTest() { restart(); }

    void restart() {
        std::string error;
        database.reset();
        database = std::make_unique<Database>();
        EXPECT_TRUE(database->open(folder.path(), error)) << error;
    }
    std::string create(uint32_t account) {
        std::string token;
        EXPECT_EQ(Tokens(*database).create(account, token), Tokens::Outcome::done);
        return token;
    }
    std::optional<uint32_t> owner(std::string_view token) { return Tokens(*database).owner(token); }

    const TemporaryFolder folder;
    std::unique_ptr<Database> database;
};

TEST_F(TokensTest, Are43CharactersOfBase64url) {
    std::set<std::string> seen;
    for (uint32_t account = 1; account <= 200; account++) {
        const std::string token = create(account);
        EXPECT_EQ(token.size(), 43U);
        EXPECT_EQ(token.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"),
                  token.npos);
        EXPECT_TRUE(seen.insert(token).second);
    }
    std::set<char> used;
    for (const std::string &token : seen) used.insert(token.begin(), token.end());
    EXPECT_EQ(used.size(), 64U);
}

TEST_F(TokensTest, LeadToTheirAccountAndOutliveTheDaemon) {
    const std::string first = create(1), second = create(2);
    EXPECT_EQ(owner(first), 1U);
    restart();
    EXPECT_EQ(owner(first), 1U);
    EXPECT_EQ(owner(second), 2U);
}

TEST_F(TokensTest, OtherTextsLeadNowhere) {
    std::string token = create(1);
    EXPECT_FALSE(owner(""));
    EXPECT_FALSE(owner(token + "A"));
    EXPECT_FALSE(owner(token.substr(0, 42)));
    token[20] = token[20] == 'A' ? 'B' : 'A';
    EXPECT_FALSE(owner(token));
}

TEST_F(TokensTest, OnlyTheirHashesAreStored) {
    const std::string token = create(1);
    Statement rows = database->prepare("SELECT hash FROM token");
    ASSERT_TRUE(rows.step());
    EXPECT_EQ(rows.text(0).size(), 64U);
    EXPECT_FALSE(owner(rows.text(0))) << "a hash is no token";
    std::ifstream file(folder / "ravd.db", std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    EXPECT_NE(bytes.find(rows.text(0)), bytes.npos);
    EXPECT_EQ(bytes.find(token), bytes.npos);
}

TEST_F(TokensTest, AnAccountHasALimit) {
    for (size_t n = 0; n < token_limit; n++) create(1);
    std::string token = "kept";
    EXPECT_EQ(Tokens(*database).create(1, token), Tokens::Outcome::too_many);
    EXPECT_EQ(token, "kept");
    create(2);
    EXPECT_TRUE(Tokens(*database).revoke(1));
    create(1);
}

TEST_F(TokensTest, RevokingEndsThoseOfOneAccount) {
    const std::string one = create(1), another = create(1), other = create(2);
    EXPECT_TRUE(Tokens(*database).revoke(1));
    restart();
    EXPECT_FALSE(owner(one));
    EXPECT_FALSE(owner(another));
    EXPECT_EQ(owner(other), 2U);
}

// The database refuses to write: no token is given away that would not last, none is lost.
TEST_F(TokensTest, FailuresAreTold) {
    const std::string token = create(1);
    ASSERT_TRUE(database->run("PRAGMA query_only = ON"));
    testing::internal::CaptureStderr();
    std::string refused;
    EXPECT_EQ(Tokens(*database).create(1, refused), Tokens::Outcome::failed);
    EXPECT_EQ(refused, "");
    EXPECT_FALSE(Tokens(*database).revoke(1));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("a token could not be stored"), std::string::npos);
    EXPECT_EQ(owner(token), 1U);
}

}  // namespace
}  // namespace ravd
