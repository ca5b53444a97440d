// Logging in and out: which messages are sent, and what identity, prompt and cache are afterwards.
#include "ravc/main/session.h"

#include <pwd.h>
#include <unistd.h>

#include "ravc/main/identity.h"
#include "ravc/shell/prompt.h"
#include "rv/confapi.h"
#include "rv/log.h"
#include "tests/unit/ravc/shell_fixture.h"

namespace {

using test::Peer;

// A daemon's idea of who is logged in: "joe" and "root" have passwords, and the token "tok" is ann's.
class Users {
 public:
    void answer(Peer &peer, const std::string &request) {
        const std::string method = test::method_of(request), params = test::params_of(request);
        if (method == "Login" || method == "SetAuth") {
            user_ = let_in(params);
            return user_.empty() && params != R"({"Token":""})" ? refuse(peer, request) : peer.reply(request, "{}");
        }
        if (method == "Logout") user_.clear();
        if (params.find("CurrentUser") != params.npos)
            return user_.empty() ? refuse(peer, request) : value(peer, request, "\"" + user_ + "\"");
        if (params.find("SystemAccess") != params.npos) return value(peer, request, user_ == "root" ? "true" : "false");
        peer.reply(request, method == "GetParameterAttributes" ? root_level : "{}");
    }

 private:
    static constexpr char root_level[] = R"({"ParameterList":[{"Name":".","Attributes":{}},)"
                                         R"({"Name":"Device.","Attributes":{"type":"object"}},)"
                                         R"({"Name":"DataModelVersion","Attributes":{"type":"string"}}]})";

    static std::string let_in(const std::string &params) {
        if (params == R"({"User":"joe","Password":"pw"})") return "joe";
        if (params == R"({"User":"root","Password":"pw"})") return "root";
        return params == R"({"Token":"tok"})" ? "ann" : "";
    }
    static void refuse(Peer &peer, const std::string &request) { peer.fail(request, 9001, "Request denied"); }
    static void value(Peer &peer, const std::string &request, const std::string &json) {
        peer.reply(request, R"({"ParameterList":[{"Name":"x","Value":)" + json + "}]}");
    }

    std::string user_;
};

void serve_users(Peer &peer) {
    Users users;
    while (const auto request = peer.request()) users.answer(peer, *request);
}

const char root_level[] = R"(GetParameterAttributes {"ParameterNames":["."],"Depth":1})";

class Session : public ShellFixture {
 protected:
    explicit Session(test::FakeDaemon::Over over = test::FakeDaemon::Over::unix_socket)
        : ShellFixture(serve_users, over) {
        rv_confapi_set_ctx(requests_connection());
        prompt_update();
    }
    ~Session() override {
        rv_confapi_set_ctx(nullptr);
        identity_release();
        identity_set_token(false);
        identity_set_system_access(false);
    }

    // The requests since the last call, but those that rebuild the cache.
    Sent talk() {
        Sent requests = sent();
        std::erase(requests, root_level);
        return requests;
    }

    static bool logs_in_again() { return rv_jrpcapi_get_flags(requests_connection()) & RV_JRPCAPI_RELOGIN; }
};

const char current_user[] = R"(GetParameterValues {"ParameterNames":["Device.Users.CurrentUser"]})";
const char system_access[] = R"(GetParameterValues {"ParameterNames":["Device.Users.SystemAccess"]})";

TEST_F(Session, LoginWithAPassword) {
    EXPECT_EQ(session_login("joe", "pw"), 0);
    EXPECT_EQ(talk(), (Sent{R"(Login {"User":"joe","Password":"pw"})", system_access}));
    EXPECT_STREQ(identity_user(), "joe");
    EXPECT_STREQ(identity_password(), "pw");
    EXPECT_FALSE(identity_is_token());
    EXPECT_FALSE(identity_has_system_access());
    EXPECT_STREQ(prompt_text(), "joe@ravc:> ");
    EXPECT_TRUE(logs_in_again());
}

TEST_F(Session, SystemAccessIsReadAtEachChange) {
    session_login("root", "pw");
    EXPECT_TRUE(identity_has_system_access());
    session_login("joe", "pw");
    EXPECT_FALSE(identity_has_system_access());
    session_login("root", "pw");
    session_logout();
    EXPECT_FALSE(identity_has_system_access());
}

TEST_F(Session, LoginWithAToken) {
    EXPECT_EQ(session_login("tok", nullptr), 0);
    EXPECT_EQ(talk(), (Sent{R"(Login {"User":"tok"})", R"(SetAuth {"Token":"tok"})", current_user, system_access}));
    EXPECT_STREQ(identity_user(), "ann");
    EXPECT_EQ(identity_password(), nullptr);
    EXPECT_TRUE(identity_is_token());
    EXPECT_STREQ(prompt_text(), "ann@ravc:> ");
    EXPECT_FALSE(logs_in_again());
}

TEST_F(Session, ATokenAfterAPasswordTakesTheLoginAgainBack) {
    session_login("joe", "pw");
    ASSERT_TRUE(logs_in_again());
    session_login("tok", "ignored");
    EXPECT_FALSE(logs_in_again());
    EXPECT_EQ(identity_password(), nullptr);
}

TEST_F(Session, RefusedLoginLeavesAGuest) {
    session_login("joe", "pw");
    sent();
    EXPECT_EQ(session_login("joe", "wrong"), -1);
    EXPECT_EQ(talk(), (Sent{R"(Login {"User":"joe","Password":"wrong"})", R"(SetAuth {"Token":"joe"})", current_user,
                            "Logout {}"}));
    EXPECT_EQ(identity_user(), nullptr);
    EXPECT_EQ(identity_password(), nullptr);
    EXPECT_STREQ(prompt_text(), "ravc:> ");
}

TEST_F(Session, RefusedLoginInATokenSessionClearsTheToken) {
    session_login("tok", nullptr);
    sent();
    EXPECT_EQ(session_login("nobody", nullptr), -1);
    EXPECT_EQ(talk().back(), R"(SetAuth {"Token":""})");
    EXPECT_EQ(identity_user(), nullptr);
}

TEST_F(Session, LoginThatCanNotBeSentIsRefusedWhoeverIsLoggedIn) {
    session_login("joe", "pw");
    sent();
    EXPECT_EQ(session_login("\xff", nullptr), -1);
    EXPECT_EQ(talk().back(), "Logout {}");
    EXPECT_EQ(identity_user(), nullptr);
}

TEST_F(Session, LogoutOfAPasswordSession) {
    session_login("joe", "pw");
    sent();
    EXPECT_EQ(session_logout(), 0);
    EXPECT_EQ(talk(), Sent{"Logout {}"});
    EXPECT_EQ(identity_user(), nullptr);
}

TEST_F(Session, LogoutOfATokenSessionSendsAnEmptyToken) {
    session_login("tok", nullptr);
    sent();
    EXPECT_EQ(session_logout(), 0);
    EXPECT_EQ(talk(), Sent{R"(SetAuth {"Token":""})"});
    EXPECT_STREQ(prompt_text(), "ravc:> ");
}

TEST_F(Session, PasswordLoginAfterATokenLogsOutByRequest) {
    session_login("tok", nullptr);
    session_login("joe", "pw");
    sent();
    session_logout();
    EXPECT_EQ(talk(), Sent{"Logout {}"});
}

TEST_F(Session, EveryChangeRebuildsTheCache) {
    EXPECT_EQ(node_cache_root, nullptr);
    cd({"Device"});
    sent();
    session_login("joe", "pw");
    EXPECT_EQ(sent(), (Sent{R"(Login {"User":"joe","Password":"pw"})", system_access, root_level}));
    EXPECT_STREQ(current_path.path, "");
    EXPECT_STREQ(prompt_text(), "joe@ravc:> ");
    EXPECT_NE(json_object_get(node_cache_root, "Device"), nullptr);
    EXPECT_EQ(json_object_get(node_cache_root, "DataModelVersion"), nullptr);
    session_logout();
    EXPECT_EQ(sent(), (Sent{root_level, "Logout {}"}));
}

TEST_F(Session, FailedReadOfSystemAccessIsNotReported) {
    static std::string reported;
    reported.clear();
    rv_log_set_sink([](const char *text) { reported = text; });
    daemon_.stop();
    session_set_identity("joe", nullptr);
    EXPECT_EQ(reported, "");
    EXPECT_FALSE(identity_has_system_access());
    session_login("joe", "pw");
    rv_log_set_sink(nullptr);
}

TEST_F(Session, TryLoginIsByTheNameOfTheRealUser) {
    try_login();
    const passwd *entry = getpwuid(getuid());
    ASSERT_TRUE(entry);
    EXPECT_EQ(talk().front(), std::string(R"(Login {"User":")") + entry->pw_name + R"("})");
    EXPECT_EQ(identity_user(), nullptr);  // this daemon wants passwords
}

TEST_F(Session, TryLoginDoesNothingForAUser) {
    session_login("joe", "pw");
    sent();
    try_login();
    EXPECT_EQ(talk(), Sent{});
}

class SessionOverTcp : public Session {
 protected:
    SessionOverTcp() : Session(test::FakeDaemon::Over::tcp) {}
};

TEST_F(SessionOverTcp, TryLoginDoesNothing) {
    try_login();
    EXPECT_EQ(talk(), Sent{});
}

// --- the commands

const char login_syntax[] = "syntax: login [<login> [-p <password>]]\n";

TEST_F(Session, LoginCommandWithAPassword) {
    EXPECT_EQ(run(process_login, "login", {"joe", "-p", "pw"}), (Outcome{0, ""}));
    EXPECT_STREQ(identity_user(), "joe");
    EXPECT_EQ(run(process_login, "login", {"joe", "-p", "no"}), (Outcome{-1, "Failed to authenticate user\n"}));
    EXPECT_EQ(identity_user(), nullptr);
}

TEST_F(Session, LoginCommandsWipeTheirWords) {
    const std::vector<std::pair<Handler, std::vector<const char *>>> lines = {
        {process_login, {"joe", "-p", "pw"}},
        {process_login, {"joe", "pw"}},
        {process_login, {"joe", "-P", "pw", "more"}},
        {process_login_if_guest, {"tok"}},
        {process_login_if_guest, {"joe", "pw"}}};
    for (const auto &[handler, words] : lines) {
        json_auto_t *args = json_array();
        for (const char *word : words) json_array_append_new(args, json_string(word));
        testing::internal::CaptureStdout();
        handler("login", args);
        testing::internal::GetCapturedStdout();
        for (size_t i = 0; i < words.size(); i++) EXPECT_STREQ(json_string_value(json_array_get(args, i)), "") << i;
        session_logout();
    }
}

TEST_F(Session, LoginCommandWithWordsThatDoNotFit) {
    for (const std::vector<std::string> &words :
         {std::vector<std::string>{"joe", "-p"}, {"joe", "-x", "pw"}, {"joe", "-p", "pw", "more"}})
        EXPECT_EQ(run(process_login, "login", words), (Outcome{-1, login_syntax}));
    EXPECT_EQ(run(process_login, "Login", {"a", "b"}).text, "syntax: Login [<login> [-p <password>]]\n");
    EXPECT_EQ(talk(), Sent{});
}

TEST_F(Session, LoginCommandAloneTakesTheUserOfTheEnvironment) {
    setenv("USER", "tok", 1);
    EXPECT_EQ(run(process_login, "login"), (Outcome{0, ""}));
    EXPECT_EQ(talk().front(), R"(Login {"User":"tok"})");
    unsetenv("USER");
    EXPECT_EQ(run(process_login, "login"), (Outcome{-1, "Failed to authenticate user\n"}));
    EXPECT_EQ(identity_user(), nullptr);
}

TEST_F(Session, LogoutCommand) {
    session_login("joe", "pw");
    EXPECT_EQ(run(process_logout, "logout", {"now"}), (Outcome{-1, "syntax: logout\n"}));
    EXPECT_STREQ(identity_user(), "joe");
    EXPECT_EQ(run(process_logout, "logout"), (Outcome{0, ""}));
    EXPECT_EQ(identity_user(), nullptr);
}

TEST_F(Session, LoginIfGuest) {
    EXPECT_EQ(run(process_login_if_guest, "login_if_guest", {"joe", "no"}), (Outcome{0, ""}));
    EXPECT_EQ(identity_user(), nullptr);
    EXPECT_EQ(run(process_login_if_guest, "login_if_guest", {"joe", "pw"}), (Outcome{0, ""}));
    EXPECT_STREQ(identity_user(), "joe");
    sent();
    EXPECT_EQ(run(process_login_if_guest, "login_if_guest", {"tok"}), (Outcome{0, ""}));
    EXPECT_EQ(talk(), Sent{});
    session_logout();
    EXPECT_EQ(run(process_login_if_guest, "login_if_guest", {"tok"}), (Outcome{0, ""}));
    EXPECT_STREQ(identity_user(), "ann");
}

}  // namespace
