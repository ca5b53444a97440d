// What a failed read of a single value reports, and to whom; assertions.
#include "rv/confapi.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "rv/log.h"
#include "tests/support/fake_daemon.h"
#include "tests/unit/libglobal/client.h"

namespace {

using test::Client;
using test::FakeDaemon;
using test::Peer;

using Lines = std::vector<std::string>;
Lines reported;

class ConfapiErrors : public testing::Test {
 protected:
    ConfapiErrors() {
        reported.clear();
        rv_log_set_sink([](const char *text) { reported.emplace_back(text); });
        rv_confapi_set_ctx(client_);
    }
    ~ConfapiErrors() override {
        rv_confapi_set_ctx(nullptr);
        rv_log_set_sink(nullptr);
    }

    static void serve(Peer &peer) {
        while (const auto request = peer.request()) {
            if (test::params_of(*request).find("A.Good") != std::string::npos)
                peer.reply(*request, R"({"ParameterList":[{"Name":"A.Good","Value":true}]})");
            else
                peer.fail(*request, 9005, "Invalid parameter name");
        }
    }

    static bool read(const char *path) {
        json_auto_t *value = rv_confapi_getconfig(path);
        return value;
    }

    FakeDaemon daemon_{serve};
    const Client client_{daemon_.destination()};
};

TEST_F(ConfapiErrors, AreReportedToTheSink) {
    EXPECT_TRUE(read("A.Good"));
    EXPECT_FALSE(read("A.Bad"));
    EXPECT_EQ(reported, Lines{"can't read A.Bad: [9005] Invalid parameter name"});
}

TEST_F(ConfapiErrors, OfTheNextReadAloneAreIgnored) {
    rv_confapi_ignore_next_error_exec(1);
    EXPECT_FALSE(read("A.Bad"));
    EXPECT_EQ(reported, Lines{});
    EXPECT_FALSE(read("A.Bad"));
    EXPECT_EQ(reported.size(), 1U);
}

TEST_F(ConfapiErrors, IgnoringIsUsedUpByASuccessToo) {
    rv_confapi_ignore_next_error_exec(1);
    EXPECT_TRUE(read("A.Good"));
    EXPECT_FALSE(read("A.Bad"));
    EXPECT_EQ(reported.size(), 1U);
}

TEST_F(ConfapiErrors, IgnoringIsTakenBack) {
    rv_confapi_ignore_next_error_exec(1);
    rv_confapi_ignore_next_error_exec(0);
    EXPECT_FALSE(read("A.Bad"));
    EXPECT_EQ(reported.size(), 1U);
}

TEST_F(ConfapiErrors, OfTheConnectionAreReported) {
    daemon_.stop();
    EXPECT_FALSE(read("A.Good"));
    ASSERT_EQ(reported.size(), 1U);
    EXPECT_TRUE(reported[0].starts_with("can't read A.Good: [-1")) << reported[0];
}

TEST_F(ConfapiErrors, WithoutAConnectionAreReported) {
    rv_confapi_set_ctx(nullptr);
    EXPECT_FALSE(read("A.Good"));
    EXPECT_EQ(reported, Lines{"can't read A.Good: [0] no value"});
}

TEST_F(ConfapiErrors, GoNowhereWithoutASink) {
    rv_log_set_sink(nullptr);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_FALSE(read("A.Bad"));
    EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");
}

TEST(Log, LongTextsAreCut) {
    reported.clear();
    rv_log_set_sink([](const char *text) { reported.emplace_back(text); });
    rv_log_error("%s", std::string(5000, 'x').c_str());
    rv_log_set_sink(nullptr);
    EXPECT_EQ(reported, Lines{std::string(1023, 'x')});
}

}  // namespace
