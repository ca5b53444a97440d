// Who is logged in by what, and when; with the worker's threads, but with hashes that cost nothing.
#include "ravd/login.h"

#include <deque>
#include <map>

#include <gtest/gtest.h>

#include "ravd/log.h"
#include "ravd/methods.h"
#include "ravd/workers.h"
#include "tests/unit/ravd/member.h"

namespace ravd {
namespace {

constexpr char dummy[] = "nobody's";

bool is_hash_of(const std::string &password, const std::string &hash) {
    return hash == "hash of " + password;
}

class LoginTest : public testing::Test {
 protected:
    LoginTest() {
        accounts["anna"] = {1, "anna", true, Role::user, "hash of secret"};
        accounts["open"] = {2, "open", true, Role::admin, ""};
        limits.login_pause_ms = 1;
        limits.login_pause_max_ms = 1;
        log_set_level(LogLevel::error);
    }
    ~LoginTest() override {
        event_base_free(base);
        log_set_level(LogLevel::info);
    }

    std::optional<Account> find(std::string_view name) {
        const auto found = accounts.find(name);
        return found == accounts.end() ? std::nullopt : std::optional(found->second);
    }

    // Begins a login with a password; its reply is replies' next.
    std::shared_ptr<Deferred> begin(Member &who, std::string_view user, std::string_view password) {
        auto reply = std::make_shared<Deferred>(who);
        logins.log_in(who, user, password, reply);
        return reply;
    }
    // Runs the loop until so many replies have been given.
    void await(size_t count) {
        while (Waiting::given < count) event_base_loop(base, EVLOOP_ONCE);
    }
    bool logs_in(Member &who, std::string_view user, std::string_view password) {
        const size_t before = Waiting::given;
        begin(who, user, password);
        await(before + 1);
        return !user.empty() && who.session().viewer.user == user;
    }
    bool logs_in_locally(Member &who, std::string_view user) {
        std::string result;
        return !logins.log_in_local_user(who, user, result);
    }

    // Counts the replies it is given.
    class Waiting : public TestMember {
     public:
        using TestMember::TestMember;
        void resume() override { ++given; }
        static inline size_t given = 0;
    };

    ClientLimits limits;
    std::map<std::string, Account, std::less<>> accounts;
    event_base *base = event_base_new();
    Sessions sessions{test_uid, 4};
    Workers workers{base, 2, 4};
    LoginRules rules{[this](std::string_view name) { return find(name); },
                     [](uid_t uid) {
                         return uid == 0 ? "root" : uid == test_uid ? "ravd" : uid == 5 ? "anna" : "bert";
                     },
                     is_hash_of,
                     dummy,
                     test_uid,
                     false};
    Logins logins{base, rules, sessions, workers, limits};
    Waiting member{sessions, tcp_peer(true)};
};

TEST_F(LoginTest, RightPasswordLogsIn) {
    EXPECT_TRUE(logs_in(member, "anna", "secret"));
    EXPECT_EQ(member.session().viewer.role, Role::user);
    EXPECT_EQ(member.session().account, "anna");
}

TEST_F(LoginTest, RefusedLoginMakesAGuest) {
    for (const auto &[user, password] : {std::pair("anna", "wrong"),
                                         {"anna", ""},
                                         {"nobody", "secret"},
                                         {"open", ""},
                                         {"open", "nobody's"},
                                         {"", ""},
                                         {"Anna", "secret"}}) {
        sessions.log_in(member.session(), "somebody", Role::admin, {});
        EXPECT_FALSE(logs_in(member, user, password)) << user;
        EXPECT_EQ(member.session().viewer.role, Role::guest) << user;
        EXPECT_EQ(member.session().viewer.user, "") << user;
    }
}

TEST_F(LoginTest, DummyHashLetsNobodyIn) {
    accounts["anna"].password_hash = "";
    rules.dummy_hash = "hash of dummy";
    Logins others(base, rules, sessions, workers, limits);
    for (const char *user : {"anna", "nobody"}) {
        others.log_in(member, user, "dummy", std::make_shared<Deferred>(member));
        await(Waiting::given + 1);
        EXPECT_EQ(member.session().viewer.user, "");
    }
}

TEST_F(LoginTest, SessionKeepsItsRightsUntilTheOutcome) {
    sessions.log_in(member.session(), "somebody", Role::admin, {});
    begin(member, "anna", "wrong");
    EXPECT_EQ(member.session().viewer.role, Role::admin);
    await(Waiting::given + 1);
    EXPECT_EQ(member.session().viewer.role, Role::guest);
}

TEST_F(LoginTest, AccountThatChangesMeanwhileDecides) {
    begin(member, "anna", "secret");
    accounts["anna"].role = Role::admin;
    await(Waiting::given + 1);
    EXPECT_EQ(member.session().viewer.role, Role::admin);
    for (int n = 0; n < 2; ++n) {
        begin(member, "anna", "secret");
        if (n == 0) {
            accounts["anna"].password_hash = "hash of another";
        } else {
            accounts.erase("anna");
        }
        await(Waiting::given + 1);
        EXPECT_EQ(member.session().viewer.user, "");
        accounts["anna"] = {1, "anna", true, Role::user, "hash of secret"};
    }
}

TEST_F(LoginTest, PlainTcpTakesNoPasswordUnlessAllowed) {
    Waiting plain(sessions, tcp_peer());
    EXPECT_FALSE(logs_in(plain, "anna", "secret"));
    rules.plain_passwords = true;
    Logins lenient(base, rules, sessions, workers, limits);
    lenient.log_in(plain, "anna", "secret", std::make_shared<Deferred>(plain));
    await(Waiting::given + 1);
    EXPECT_EQ(plain.session().viewer.user, "anna");
}

TEST_F(LoginTest, LocalUsersByTheirOwnNameOnly) {
    accounts["ravd"] = accounts["root"] = {3, "", true, Role::guest, ""};
    const struct {
        Peer peer;
        const char *user;
        bool good;
        Role role;
    } cases[] = {
        {local_peer(0), "root", true, Role::admin},        {local_peer(0), "anna", false, Role::guest},
        {local_peer(test_uid), "ravd", true, Role::admin}, {local_peer(test_uid), "root", false, Role::guest},
        {local_peer(5), "anna", true, Role::user},         {local_peer(5), "root", false, Role::guest},
        {local_peer(6), "bert", true, Role::guest},        {local_peer(6), "", false, Role::guest},
        {tcp_peer(true), "root", false, Role::guest},
    };
    for (const auto &each : cases) {
        TestMember local(sessions, each.peer);
        EXPECT_EQ(logs_in_locally(local, each.user), each.good) << each.user;
        EXPECT_EQ(local.session().viewer.user, each.good ? each.user : "") << each.user;
        EXPECT_EQ(local.session().viewer.role, each.role) << each.user;
    }
}

TEST_F(LoginTest, UserWithoutANameLogsInByPasswordOnly) {
    rules.local_name = [](uid_t) { return ""; };
    Logins nameless(base, rules, sessions, workers, limits);
    TestMember local(sessions, local_peer(0));
    std::string result;
    EXPECT_EQ(nameless.log_in_local_user(local, "", result).code, 9001);
}

TEST_F(LoginTest, AttemptsWaitForThePauseAndAreThenLookedAt) {
    limits.login_free = 0;
    limits.login_pause_ms = limits.login_pause_max_ms = 20;
    EXPECT_FALSE(logs_in(member, "anna", "wrong"));
    EXPECT_TRUE(logs_in(member, "anna", "secret"));
}

TEST_F(LoginTest, OnlySoManyWait) {
    limits.login_free = 0;
    limits.login_waiting = 2;
    limits.login_pause_ms = limits.login_pause_max_ms = 1'000'000;
    EXPECT_FALSE(logs_in(member, "anna", "wrong"));
    std::deque<Waiting> others;
    std::vector<std::shared_ptr<Deferred>> replies;
    const size_t before = Waiting::given;
    for (int n = 0; n < 3; ++n) {
        sessions.log_in(others.emplace_back(sessions, tcp_peer(true)).session(), "somebody", Role::user, {});
        replies.push_back(begin(others.back(), "anna", "secret"));
    }
    EXPECT_EQ(Waiting::given, before + 1);
    EXPECT_EQ(others[1].session().viewer.user, "somebody");
    EXPECT_EQ(others[2].session().viewer.user, "");
}

TEST_F(LoginTest, OtherPeersDoNotWait) {
    limits.login_free = 0;
    limits.login_pause_ms = limits.login_pause_max_ms = 1'000'000;
    EXPECT_FALSE(logs_in(member, "anna", "wrong"));
    Waiting other(sessions, local_peer(77));
    EXPECT_TRUE(logs_in(other, "anna", "secret"));
}

TEST_F(LoginTest, FullQueueOfTheWorkersIsTold) {
    limits.login_free = 100;
    Workers none(base, 0, 1);  // jobs only wait
    Logins busy(base, rules, sessions, none, limits);
    const size_t before = Waiting::given;
    busy.log_in(member, "anna", "secret", std::make_shared<Deferred>(member));
    EXPECT_EQ(Waiting::given, before);
    sessions.log_in(member.session(), "somebody", Role::user, {});
    busy.log_in(member, "anna", "secret", std::make_shared<Deferred>(member));
    EXPECT_EQ(Waiting::given, before + 1);
    EXPECT_EQ(member.session().viewer.user, "");
}

TEST_F(LoginTest, RefusedTokenCountsOnceWithItsName) {
    limits.login_free = 1;
    limits.login_pause_ms = limits.login_pause_max_ms = 1'000'000;
    EXPECT_FALSE(logs_in(member, "text", "wrong"));
    sessions.log_in(member.session(), "somebody", Role::user, {});
    logins.refuse_token(member, "text");
    EXPECT_EQ(member.session().viewer.user, "");
    EXPECT_TRUE(logs_in(member, "anna", "secret"));
    logins.refuse_token(member, "another");
    const size_t before = Waiting::given;
    const auto reply = begin(member, "anna", "secret");
    EXPECT_EQ(Waiting::given, before);
}

std::string log_of(const std::function<void()> &act) {
    testing::internal::CaptureStderr();
    log_set_level(LogLevel::info);
    act();
    return testing::internal::GetCapturedStderr();
}

TEST_F(LoginTest, LogHasOneLineARefusalAndNamesOnlyUsersThereAre) {
    Waiting local(sessions);
    const auto known = log_of([&] { logs_in(local, "anna", "wr0ng"); });
    EXPECT_EQ(known, "<4>login refused: user anna, uid 1000: wrong name or password\n");
    const auto unknown = log_of([&] { logs_in(local, "t0ken", "wr0ng"); });
    EXPECT_EQ(unknown.find("t0ken"), std::string::npos);
    EXPECT_NE(unknown.find("an unknown user"), std::string::npos);
    EXPECT_EQ((known + unknown).find("wr0ng"), std::string::npos);
}

TEST(RefusalLogTest, FloodsAreCut) {
    uint64_t now = 0;
    RefusalLog log([&] { return now; });
    const auto first = log_of([&] {
        for (int n = 0; n < 100; ++n) log.tell(local_peer(), nullptr, "reason");
    });
    EXPECT_EQ(std::count(first.begin(), first.end(), '\n'), 5);
    now = 1000;
    EXPECT_EQ(log_of([&] { log.tell(local_peer(), "anna", "reason"); }),
              "<4>login refused: user anna, uid 1000: reason (and 95 more refused before)\n");
    EXPECT_EQ(log_of([&] { log.tell(local_peer(), "anna", "reason"); }),
              "<4>login refused: user anna, uid 1000: reason\n");
}

}  // namespace
}  // namespace ravd
