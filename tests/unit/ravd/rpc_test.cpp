// The envelope and the table of methods: what a message is answered with, and that the table describes itself.
#include "ravd/rpc.h"

#include <fstream>
#include <set>

#include <gtest/gtest.h>

#include "ravd/accounts.h"
#include "ravd/audit.h"
#include "ravd/checkpoint.h"
#include "ravd/events.h"
#include "ravd/firmware/upgrade.h"
#include "ravd/handlers/changes.h"
#include "ravd/handlers/programs.h"
#include "ravd/login.h"
#include "ravd/password.h"
#include "ravd/persist/database.h"
#include "ravd/restart.h"
#include "ravd/saved_configuration.h"
#include "ravd/tokens.h"
#include "ravd/transfers.h"
#include "ravd/workers.h"
#include "tests/support/temporary_folder.h"
#include "tests/unit/ravd/member.h"

namespace ravd {
namespace {

class RpcTest : public testing::Test {
 protected:
    void SetUp() override {
        std::ofstream(folder / "model.json") << R"({"#attr": {"type": "object"}})";
        std::string error;
        model = Model::load(folder.path(), {}, error);
        ASSERT_NE(model, nullptr) << error;
        events = std::make_unique<Events>(sessions, *model, [] {});
        upgrades = std::make_unique<Upgrades>(
            Upgrades::Surroundings{base.get(), sessions, *events, restart, programs, limits});
        redraws = std::make_unique<Redraws>(base.get(), *model, programs);
        changes = std::make_unique<Changes>(*model, programs, *redraws, 1);
        accounts = std::make_unique<Accounts>(*model, database, lowest_hash_cost);
        saved = std::make_unique<SavedConfiguration>(*model, database);
    }

    // The whole reply to a message, and in steps how many turns it took.
    std::string answer(std::string_view message) {
        Services services = {.base = base.get(),
                             .model = *model,
                             .sessions = sessions,
                             .events = *events,
                             .limits = limits,
                             .workers = workers,
                             .database = database,
                             .accounts = *accounts,
                             .tokens = tokens,
                             .audit = audit,
                             .hash_cost = lowest_hash_cost,
                             .logins = logins,
                             .programs = programs,
                             .restart = restart,
                             .upgrades = *upgrades,
                             .transfers = transfers,
                             .saved = *saved,
                             .checkpoint = checkpoint,
                             .changes = *changes};
        Exchange exchange(message, limits);
        for (steps = 1; exchange.step(services, member) != Exchange::Step::done; ++steps) {
        }
        return exchange.take_reply();
    }

    const TemporaryFolder folder;
    std::unique_ptr<Model> model;
    Sessions sessions{test_uid, 16};
    std::unique_ptr<Events> events;
    Database database;
    Tokens tokens{database};
    Audit audit;
    std::unique_ptr<Accounts> accounts;
    std::unique_ptr<SavedConfiguration> saved;
    TestMember member{sessions};
    const std::unique_ptr<event_base, decltype(&event_base_free)> base{event_base_new(), event_base_free};
    Workers workers{base.get(), 1, 1};
    ClientLimits limits;
    Logins logins{base.get(), {}, sessions, workers, limits};
    Programs programs{base.get(), {}};
    Restart restart{base.get(), programs, [] { return true; }};
    std::unique_ptr<Upgrades> upgrades;
    Transfers transfers{limits};
    Checkpoint checkpoint{base.get(), [](const std::string &) {}};
    std::unique_ptr<Redraws> redraws;
    std::unique_ptr<Changes> changes;
    int steps = 0;
};

constexpr char joined[] = R"({"jsonrpc":"2.0","result":{},"id":1})";

TEST_F(RpcTest, ReplyIsCompact) {
    EXPECT_EQ(answer(R"({"jsonrpc":"2.0","method":"JoinGroup","params":{"Group":17},"id":1})"), joined);
}

TEST_F(RpcTest, IdsComeBackAsTheyStand) {
    const std::string long_text(256, 'x');
    const std::string ids[] = {"0",           "-1",     "9223372036854775807",  "1.5", "null", R"("")",
                               R"("a\"b\\")", R"("é")", "\"" + long_text + "\""};
    for (const std::string &id : ids) {
        EXPECT_EQ(answer(R"({"jsonrpc":"2.0","method":"JoinGroup","params":{"Group":17},"id":)" + id + "}"),
                  R"({"jsonrpc":"2.0","result":{},"id":)" + id + "}");
    }
}

TEST_F(RpcTest, OtherIdsAreInvalidRequests) {
    const std::string too_long(257, 'x');
    for (const std::string &id : {std::string("{}"), std::string("[]"), std::string("true"), "\"" + too_long + "\""}) {
        const std::string reply =
            answer(R"({"jsonrpc":"2.0","method":"JoinGroup","params":{"Group":17},"id":)" + id + "}");
        EXPECT_NE(reply.find(R"("code":-32600)"), std::string::npos) << reply;
        EXPECT_NE(reply.find(R"("id":null})"), std::string::npos) << reply;
    }
    EXPECT_TRUE(sessions.joined(17).empty());
}

// Where such a number stands for a value, the value is refused, not the message; texts are left as they are.
TEST_F(RpcTest, IntegersBeyondWhatCanBeHeldAreNumbers) {
    const auto event = [](const std::string &params) {
        return R"({"jsonrpc":"2.0","method":"Event","params":{"Group":17,"Params":)" + params + R"(},"id":1})";
    };
    TestMember other(sessions);
    sessions.join(other, 17);
    const std::pair<const char *, const char *> rows[] = {
        {"[18446744073709551616]", "[1.8446744073709552e19]"},
        {"[-9223372036854775809,-9223372036854775808]", "[-9.2233720368547758e18,-9223372036854775808]"},
        {R"(["99999999999999999999,","\\",99999999999999999999,"\"",1.5e3,9223372036854775807])",
         R"(["99999999999999999999,","\\",1e20,"\"",1500.0,9223372036854775807])"},
    };
    for (const auto &[sent, got] : rows) {
        EXPECT_EQ(answer(event(sent)), joined) << sent;
        EXPECT_EQ(other.events.back(),
                  R"({"jsonrpc":"2.0","method":"Event","params":{"Group":17,"Params":)" + std::string(got) + "}}\n");
    }
    EXPECT_NE(answer(event("1e999")).find("-32700"), std::string::npos);
    EXPECT_NE(answer("{99999999999999999999").find("-32700"), std::string::npos);
}

TEST_F(RpcTest, ErrorHasDetailAndDataInOrderAndEachNameOnce) {
    std::string text;
    append_error(text, {9003, "why \"so\"", {{"B", "9005 x"}, {"A", "9001 y"}, {"B", "9005 x"}}});
    EXPECT_EQ(text, R"({"code":9003,"message":"Invalid arguments","data":{"Detail":"why \"so\"",)"
                    R"("Data":{"B":"9005 x","A":"9001 y"}}})");
    text.clear();
    append_error(text, {-32601, {}, {}});
    EXPECT_EQ(text, R"({"code":-32601,"message":"Method not found"})");
}

TEST_F(RpcTest, ParseErrorOfAnyBytesIsValidText) {
    for (const char *bytes : {"\xff\xfe", "{\"a\":\xc3\x28}", "\x1b[31m", "{\"\xe2\x82\":1}", "nul", "{"}) {
        const std::string reply = answer(bytes);
        json_error_t error;
        const Json parsed(json_loadb(reply.data(), reply.size(), 0, &error));
        ASSERT_NE(parsed, nullptr) << error.text;
        EXPECT_EQ(json_integer_value(json_object_get(json_object_get(parsed.get(), "error"), "code")), -32700);
    }
}

TEST_F(RpcTest, BatchIsServedRequestByRequest) {
    EXPECT_EQ(answer(R"([{"jsonrpc":"2.0","method":"JoinGroup","params":{"Group":17},"id":1},)"
                     R"({"jsonrpc":"2.0","method":"JoinGroup","params":{"Group":18}},)"
                     R"({"jsonrpc":"2.0","method":"JoinGroup","params":{"Group":19},"id":1}])"),
              std::string("[") + joined + "," + joined + "]");
    EXPECT_EQ(steps, 3);
    EXPECT_EQ(sessions.joined(18).size(), 1U);
}

TEST_F(RpcTest, BatchOfNotificationsHasNoReply) {
    EXPECT_EQ(answer(R"([{"jsonrpc":"2.0","method":"x"},{"jsonrpc":"2.0","method":"JoinGroup","params":[]}])"), "");
}

TEST_F(RpcTest, BatchLimits) {
    limits.batch = 2;
    EXPECT_NE(answer("[1,2,3]").find(R"("id":null})"), std::string::npos);
    EXPECT_EQ(answer("[1,2]").front(), '[');
    limits.batch_reply = 10;
    const std::string reply = answer(R"([{"jsonrpc":"2.0","method":"JoinGroup","params":{"Group":1},"id":1},)"
                                     R"({"jsonrpc":"2.0","method":"JoinGroup","params":{"Group":2},"id":2}])");
    EXPECT_NE(reply.find(R"("code":9004)"), std::string::npos);
    EXPECT_TRUE(sessions.joined(2).empty());
}

TEST(Methods, EachRowIsUsable) {
    std::set<std::string_view> names;
    for (const Method &method : all_methods()) {
        EXPECT_TRUE(names.insert(method.name).second) << method.name;
        EXPECT_EQ(find_method(method.name), &method);
        EXPECT_NE(method.run, nullptr);
    }
    EXPECT_EQ(find_method("joingroup"), nullptr);
    EXPECT_EQ(find_method(""), nullptr);
}

TEST(Methods, DiscoverIsTheTable) {
    std::string text;
    append_openrpc(text);
    const Json document(json_loads(text.c_str(), JSON_REJECT_DUPLICATES, nullptr));
    ASSERT_NE(document, nullptr);
    const json_t *methods = json_object_get(document.get(), "methods");
    ASSERT_EQ(json_array_size(methods), all_methods().size());
    for (size_t n = 0; n < all_methods().size(); ++n) {
        const Method &method = all_methods()[n];
        const json_t *described = json_array_get(methods, n);
        EXPECT_STREQ(json_string_value(json_object_get(described, "name")), method.name);
        const json_t *parameters = json_object_get(described, "params");
        ASSERT_EQ(json_array_size(parameters), method.parameters.size());
        for (size_t m = 0; m < method.parameters.size(); ++m) {
            const json_t *parameter = json_array_get(parameters, m);
            EXPECT_STREQ(json_string_value(json_object_get(parameter, "name")), method.parameters[m].name);
            EXPECT_EQ(json_is_true(json_object_get(parameter, "required")), method.parameters[m].required);
            EXPECT_TRUE(json_is_object(json_object_get(parameter, "schema")));
        }
    }
}

// The check and the description of a parameter must agree: a value of the schema's type fits, others don't.
TEST(Methods, KindsFitTheirSchemas) {
    const std::pair<const char *, const char *> samples[] = {
        {"string", "\"x\""}, {"boolean", "true"}, {"integer", "1"}, {"array", "[]"}, {"object", "{}"}};
    for (const Method &method : all_methods()) {
        for (const Parameter &parameter : method.parameters) {
            const Json schema(json_loads(("{" + std::string(parameter.kind.schema) + "}").c_str(), 0, nullptr));
            ASSERT_NE(schema, nullptr) << parameter.name;
            const json_t *type = json_object_get(schema.get(), "type");
            for (const auto &[name, sample] : samples) {
                const Json value(json_loads(sample, JSON_DECODE_ANY, nullptr));
                const bool wanted = type == nullptr || std::string_view(json_string_value(type)) == name;
                EXPECT_EQ(parameter.kind.fits(value.get()), wanted) << parameter.name << " " << sample;
            }
        }
    }
}

TEST(Methods, WrongParametersAreNamed) {
    const Method *method = find_method("GetParameterValues");
    ASSERT_NE(method, nullptr);
    const auto check = [&](const char *params) {
        const Json value(json_loads(params, 0, nullptr));
        return check_parameters(*method, value.get());
    };
    EXPECT_EQ(check_parameters(*method, nullptr).detail, "ParameterNames: missing");
    EXPECT_EQ(check("{}").code, -32602);
    EXPECT_EQ(check(R"({"ParameterNames":"x"})").detail, "ParameterNames: not an array of texts");
    EXPECT_EQ(check(R"({"ParameterNames":["x",1]})").detail, "ParameterNames: not an array of texts");
    EXPECT_EQ(check(R"({"ParameterNames":[],"IgnoreAccessError":null})").detail,
              "IgnoreAccessError: not true or false");
    EXPECT_FALSE(check(R"({"ParameterNames":[],"IgnoreAccessError":true,"Other":1})"));
}

TEST(Methods, PairsHaveANameAndAValue) {
    const Method *method = find_method("SetParameterValues");
    ASSERT_NE(method, nullptr);
    const auto code = [&](const std::string &pairs) {
        const Json value(json_loads((R"({"ParameterList":)" + pairs + "}").c_str(), 0, nullptr));
        return check_parameters(*method, value.get()).code;
    };
    EXPECT_EQ(code(R"([{"Name":"A","Value":null},{"Name":"","Value":1,"Other":2}])"), 0);
    for (const char *bad : {R"(["A"])", R"([{"Name":"A"}])", R"([{"Value":1}])", R"([{"Name":1,"Value":1}])", "{}"})
        EXPECT_EQ(code(bad), -32602) << bad;
}

}  // namespace
}  // namespace ravd
