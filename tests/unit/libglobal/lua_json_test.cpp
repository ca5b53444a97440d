// JSON as Lua values and back.
#include <string>

#include <gtest/gtest.h>

#include "tests/unit/libglobal/lua_fixture.h"

namespace {

using LuaJson = LuaTest;

TEST_F(LuaJson, RoundTrips) {
    for (const char *text : {"null", "true", "false", "0", "-9223372036854775808", "9223372036854775807", "1.0", "-2.5",
                             "1e300", "\"\"", "\"a\\u0000\\n\\\"\\u00e4\"", "[]", "{}", "[[],{}]", "[null,[null]]",
                             "{\"\":1,\"a\":[1,2.0,\"x\"]}", "{\"a b\":1}"}) {
        const std::string code =
            std::string("local text = [=[") + text + "]=] local value = rv.decode(text) " +
            "assert(rv.encode(rv.decode(rv.encode(value))) == rv.encode(value)) print(rv.encode(value))";
        ASSERT_EQ(run(code), RV_LUA_DONE) << text << error();
        json_t *before = json_loads(text, JSON_DECODE_ANY | JSON_ALLOW_NUL, nullptr);
        json_t *after = json_loads(output().c_str(), JSON_DECODE_ANY | JSON_ALLOW_NUL, nullptr);
        EXPECT_TRUE(json_equal(before, after)) << text << output();
        json_decref(before);
        json_decref(after);
    }
}

TEST_F(LuaJson, TypesAreKept) {
    EXPECT_EQ(value("math.type(rv.decode('1'))"), "integer");
    EXPECT_EQ(value("math.type(rv.decode('1.0'))"), "float");
    EXPECT_EQ(value("rv.encode(1.0), rv.encode(1)"), "1.0\t1");
    EXPECT_EQ(value("rv.decode('null') == rv.null, rv.null, rv.encode(rv.null)"), "true\tnull\tnull");
}

TEST_F(LuaJson, RealsHaveNoMoreDigitsThanTheyNeed) {
    EXPECT_EQ(value("rv.encode({0.1, {a = -2.5}, 1e300})"), "[0.1,{\"a\":-2.5},1e300]");
    EXPECT_EQ(value("rv.encode(1 / 3)"), "0.3333333333333333");
    EXPECT_EQ(value("rv.encode(0.1 + 0.2)"), "0.30000000000000004");
    EXPECT_EQ(value("rv.decode(rv.encode(math.pi)) == math.pi"), "true");
}

TEST_F(LuaJson, OfEqualKeysTheLastOneCounts) {
    EXPECT_EQ(value("rv.encode(rv.decode('{\"a\": 1, \"a\": 2}'))"), "{\"a\":2}");
}

TEST_F(LuaJson, ArraysAndObjects) {
    EXPECT_EQ(value("rv.encode({})"), "{}");
    EXPECT_EQ(value("rv.encode({1, {}, {2}})"), "[1,{},[2]]");
    EXPECT_EQ(value("rv.encode(setmetatable({}, getmetatable(rv.decode('[]'))))"), "[]");
    EXPECT_EQ(value("(function() local a = rv.decode('[1]') a[1] = nil return rv.encode(a) end)()"), "[]");
    EXPECT_EQ(value("rv.encode({b = 1, a = 2})"), "{\"a\":2,\"b\":1}");
    EXPECT_EQ(value("rv.encode(setmetatable({a = 1}, {__index = error, __pairs = error, __len = error}))"),
              "{\"a\":1}");
}

TEST_F(LuaJson, WhatJsonCanNotHold) {
    const auto refused = [&](const char *code) { return value(std::string("rv.encode(") + code + ")"); };
    EXPECT_EQ(refused("nil"), "test:1: nil can't be JSON: its null is rv.null");
    EXPECT_EQ(refused("print"), "test:1: a function can't be JSON");
    EXPECT_EQ(refused("io.stdout"), "test:1: a userdata can't be JSON");
    EXPECT_EQ(refused("coroutine.running()"), "test:1: a thread can't be JSON");
    EXPECT_EQ(refused("1/0"), "test:1: inf can't be JSON: it is out of range");
    EXPECT_EQ(refused("-(0/0)"), "test:1: nan can't be JSON: it is out of range");
    EXPECT_EQ(refused("'\\xff'"), "test:1: a text that is not UTF-8 can't be JSON");
    EXPECT_EQ(refused("{a = {1, {b = print}}}"), "test:1: a[2].b: a function can't be JSON");
    EXPECT_EQ(refused("{a = {}, b = {{}, {0/0}}}").substr(0, 16), "test:1: b[2][1]:");
    EXPECT_EQ(refused("{{}, {[{}] = 1}}").substr(0, 21), "test:1: [2]: a key th");
    EXPECT_EQ(refused("{['\\xff'] = 1}"), "test:1: a key that is not UTF-8 can't be JSON");
    EXPECT_EQ(refused("{1, nil, 3, a = 4}"), "test:1: a key that is no text (1) can't be JSON");
    EXPECT_EQ(refused("{[1.5] = 1}"), "test:1: a key that is no text (1.5) can't be JSON");
    EXPECT_EQ(refused("setmetatable({a = 1}, getmetatable(rv.decode('[]')))"),
              "test:1: an array with holes or keys that are no places can't be JSON");
}

TEST_F(LuaJson, CyclesAndDepthAreRefused) {
    const std::string nested = "(function(n) local t = {} for i = 2, n do t = {a = t} end return t end)";
    EXPECT_EQ(value("#rv.encode(" + nested + "(100))"), "596");
    EXPECT_EQ(value("rv.encode(" + nested + "(101))"), "test:1: tables deeper than 100 can't be JSON");
    EXPECT_EQ(value("(function() local t = {} t.a = {t} rv.encode(t) end)()"),
              "test:1: a[1]: a table that holds itself can't be JSON");
    EXPECT_EQ(value("(function() local t = {} return rv.encode({t, t}) end)()"), "[{},{}]") << "twice is no cycle";
}

TEST_F(LuaJson, WhatIsNoJson) {
    EXPECT_EQ(value("rv.decode('[1')"),
              "nil\t2: ']' expected near end of file\t2: ']' expected near end of file (-32700)");
    EXPECT_EQ(value("rv.decode('')"),
              "nil\t0: unexpected token near end of file\t"
              "0: unexpected token near end of file (-32700)");
    EXPECT_EQ(value("select(2, rv.decode('9223372036854775808'))"),
              "19: too big integer near '9223372036854775808'\t"
              "19: too big integer near '9223372036854775808' (-32700)");
    EXPECT_EQ(value("(rv.decode('1e999'))"), "nil");
    EXPECT_EQ(value("(rv.decode(('['):rep(100000)))"), "nil");
    EXPECT_EQ(value("(rv.decode('\"\\xff\"'))"), "nil");
    EXPECT_EQ(value("(rv.decode('{\"a\\\\u0000\": 1}'))"), "nil");
    EXPECT_EQ(value("(rv.decode('{} {}'))"), "nil");
}

TEST_F(LuaJson, WithoutAConnectionRequestsFail) {
    EXPECT_EQ(value("rv.get('.')"), "nil\tno connection to the daemon\tno connection to the daemon (-7)");
    EXPECT_EQ(value("select(2, rv.on(20, print))"), "no connection to the daemon\tno connection to the daemon (-7)");
}

}  // namespace
