// The stored identity: its own copies, replaced and released.
#include "ravc/main/identity.h"

#include <string>

#include <gtest/gtest.h>

namespace {

class Identity : public testing::Test {
 protected:
    ~Identity() override {
        identity_release();
        identity_set_token(false);
        identity_set_system_access(false);
    }
};

TEST_F(Identity, IsNobodysAtTheStart) {
    EXPECT_EQ(identity_user(), nullptr);
    EXPECT_EQ(identity_password(), nullptr);
    EXPECT_FALSE(identity_is_token());
    EXPECT_FALSE(identity_has_system_access());
}

TEST_F(Identity, KeepsCopies) {
    std::string user = "joe", password = "secret";
    identity_set(user.c_str(), password.c_str());
    user[0] = password[0] = 'x';
    EXPECT_STREQ(identity_user(), "joe");
    EXPECT_STREQ(identity_password(), "secret");
}

TEST_F(Identity, TakesItsOwnTextsAgain) {
    identity_set("joe", "secret");
    identity_set(identity_password(), identity_user());
    EXPECT_STREQ(identity_user(), "secret");
    EXPECT_STREQ(identity_password(), "joe");
}

TEST_F(Identity, NoneStaysNone) {
    identity_set("joe", "secret");
    identity_set("ann", nullptr);
    EXPECT_STREQ(identity_user(), "ann");
    EXPECT_EQ(identity_password(), nullptr);
    identity_release();
    EXPECT_EQ(identity_user(), nullptr);
}

TEST_F(Identity, FlagsAreKeptApartFromTheTexts) {
    identity_set_token(true);
    identity_set_system_access(true);
    identity_set("joe", nullptr);
    EXPECT_TRUE(identity_is_token());
    EXPECT_TRUE(identity_has_system_access());
}

}  // namespace
