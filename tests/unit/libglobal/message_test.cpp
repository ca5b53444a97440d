// Messages: their kinds and their parts.
#include "libglobal/net/message.h"

#include <gtest/gtest.h>

#include "rv/socket.h"
#include "tests/unit/libglobal/client.h"

namespace {

using test::raw_request;

TEST(Message, KindsAreToldApart) {
    const struct {
        const char *text;
        int kind;
    } rows[] = {
        {R"({"jsonrpc":"2.0","method":"X","id":1})", RV_JRPCMSG_REQUEST},
        {R"({"jsonrpc":"2.0","method":"X","id":null})", RV_JRPCMSG_REQUEST},
        {R"({"jsonrpc":"2.0","method":"Event","id":1})", RV_JRPCMSG_REQUEST},
        {R"({"jsonrpc":"2.0","method":"X"})", RV_JRPCMSG_NOTIFICATION},
        {R"({"jsonrpc":"2.0","method":"Event","params":{"Group":1}})", RV_JRPCMSG_EVENT},
        {R"({"jsonrpc":"2.0","id":1,"error":{"code":-1}})", RV_JRPCMSG_ERROR},
        {R"({"jsonrpc":"2.0","id":1,"error":null})", RV_JRPCMSG_ERROR},
        {R"({"jsonrpc":"2.0","id":null,"error":7})", RV_JRPCMSG_ERROR},
        {R"({"jsonrpc":"2.0","id":1,"result":null})", RV_JRPCMSG_RESULT},
        {R"({"jsonrpc":"2.0","id":1,"result":{},"error":null})", RV_JRPCMSG_RESULT},
        {R"({"jsonrpc":"2.0","id":1,"result":{},"error":{"code":1}})", RV_JRPCMSG_ERROR},
    };
    for (const auto &row : rows) EXPECT_EQ(rv_jrpcmsg_typeof(raw_request(row.text).get()), row.kind) << row.text;
}

TEST(Message, OtherJsonIsNoMessage) {
    for (const char *text :
         {"{}", "[]", R"({"method":"X","id":1})", R"({"jsonrpc":"1.0","method":"X"})",
          R"({"jsonrpc":2.0,"method":"X"})", R"({"jsonrpc":"2.0","method":7})", R"({"jsonrpc":"2.0","id":1})",
          R"({"jsonrpc":"2.0","result":1})", R"([{"jsonrpc":"2.0","method":"X"}])"})
        EXPECT_EQ(raw_request(text), nullptr) << text;
    EXPECT_EQ(rv_jrpcmsg_parse_json(nullptr), nullptr);
    EXPECT_EQ(rv_jrpcmsg_typeof(nullptr), RV_JRPCMSG_NONE);
}

TEST(Message, PartsOfAnErrorReply) {
    const auto msg = raw_request(R"({"jsonrpc":"2.0","id":1,"error":{"code":9005,"message":"Invalid parameter name",
                                     "data":{"Detail":"no such node","Data":{"b":1,"a":"x"}}}})");
    EXPECT_EQ(rv_jrpcmsg_get_error_code(msg.get()), 9005);
    EXPECT_STREQ(rv_jrpcmsg_get_error_message(msg.get()), "Invalid parameter name");
    EXPECT_STREQ(rv_jrpcmsg_get_error_detail(msg.get()), "no such node");
    EXPECT_EQ(test::compact(rv_jrpcmsg_get_errordata_json(msg.get())), R"({"b":1,"a":"x"})");
    EXPECT_EQ(rv_jrpcmsg_get_result_json(msg.get()), nullptr);
}

TEST(Message, AnErrorReplyHasACodeOtherThanZeroWhateverItHolds) {
    const struct {
        const char *error;
        int32_t code;
    } rows[] = {
        {R"({"code":0})", -32603},
        {R"({"code":"9005"})", -32603},
        {R"({"code":1.5})", -32603},
        {R"({"code":null})", -32603},
        {R"({})", -32603},
        {R"(7)", -32603},
        {R"("text")", -32603},
        {R"([])", -32603},
        {R"({"code":4294967296})", -32603},
        {R"({"code":4294967303})", 7},
        {R"({"code":2147483648})", INT32_MIN},
        {R"({"code":-32700})", -32700},
        {R"({"code":9223372036854775807})", -1},
    };
    for (const auto &row : rows) {
        const auto msg = raw_request((std::string(R"({"jsonrpc":"2.0","id":1,"error":)") + row.error + "}").c_str());
        EXPECT_EQ(rv_jrpcmsg_typeof(msg.get()), RV_JRPCMSG_ERROR) << row.error;
        EXPECT_EQ(rv_jrpcmsg_get_error_code(msg.get()), row.code) << row.error;
    }
}

TEST(Message, PartsOfTheWrongTypeReadAsAbsent) {
    for (const char *text : {R"({"jsonrpc":"2.0","id":1,"error":{"code":1,"message":5,"data":[1]}})",
                             R"({"jsonrpc":"2.0","id":1,"error":{"code":1,"data":{"Detail":1,"Data":[1]}}})",
                             R"({"jsonrpc":"2.0","id":1,"error":"Detail"})"}) {
        const auto msg = raw_request(text);
        EXPECT_EQ(rv_jrpcmsg_get_error_message(msg.get()), nullptr) << text;
        EXPECT_EQ(rv_jrpcmsg_get_error_detail(msg.get()), nullptr) << text;
        EXPECT_EQ(rv_jrpcmsg_get_errordata_json(msg.get()), nullptr) << text;
    }
}

TEST(Message, EventCodesAreGroupsAndZeroForEverythingElse) {
    const struct {
        const char *text;
        uint32_t code;
    } rows[] = {
        {R"({"jsonrpc":"2.0","method":"Event","params":{"Group":16}})", 16},
        {R"({"jsonrpc":"2.0","method":"Event","params":{"Group":4294967295}})", UINT32_MAX},
        {R"({"jsonrpc":"2.0","method":"Event","params":{"Group":4294967296}})", 0},
        {R"({"jsonrpc":"2.0","method":"Event","params":{"Group":-1}})", 0},
        {R"({"jsonrpc":"2.0","method":"Event","params":{"Group":"4"}})", 0},
        {R"({"jsonrpc":"2.0","method":"Event","params":[4]})", 0},
        {R"({"jsonrpc":"2.0","method":"Event"})", 0},
        {R"({"jsonrpc":"2.0","method":"Other","params":{"Group":4}})", 0},
    };
    for (const auto &row : rows)
        EXPECT_EQ(rv_jrpcmsg_get_event_code(raw_request(row.text).get()), row.code) << row.text;
}

TEST(Message, AResultThatIsSetIsTheReplyUntilItIsDropped) {
    const auto msg = test::request("Download");
    EXPECT_EQ(rv_jrpcmsg_set_result_new(msg.get(), json_pack("{s:i}", "Status", 1)), 0);
    EXPECT_EQ(rv_jrpcmsg_typeof(msg.get()), RV_JRPCMSG_RESULT);
    EXPECT_EQ(test::compact(rv_jrpcmsg_get_result_json(msg.get())), R"({"Status":1})");
    EXPECT_EQ(rv_jrpcmsg_set_result_new(msg.get(), nullptr), 0);
    EXPECT_EQ(rv_jrpcmsg_typeof(msg.get()), RV_JRPCMSG_REQUEST);
    EXPECT_EQ(rv_jrpcmsg_get_result_json(msg.get()), nullptr);
}

TEST(Message, AFailureIsAnErrorReplyWithTheSocketErrorsNumberAndText) {
    const auto msg = test::request("X");
    rv::set_failure(*msg, RV_SOCKET_ERR_TIMEOUT);
    EXPECT_EQ(rv_jrpcmsg_typeof(msg.get()), RV_JRPCMSG_ERROR);
    EXPECT_EQ(rv_jrpcmsg_get_error_code(msg.get()), -8);
    EXPECT_STREQ(rv_jrpcmsg_get_error_message(msg.get()), rv_socket_strerror(-8));
    EXPECT_EQ(rv_jrpcmsg_get_params_json(msg.get()), nullptr);
}

}  // namespace
