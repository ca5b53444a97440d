// Completion in Lua mode: what is offered for a word, and in which order.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include "ravc/lua/complete.h"
#include "ravc/lua/lua.h"

namespace {

using Words = std::vector<std::string>;

class LuaComplete : public testing::Test {
 protected:
    LuaComplete() {
        lua_complete_use(context.get());
        run("package.path = '' package.cpath = ''");
    }
    ~LuaComplete() override { lua_complete_use(nullptr); }

    void run(const std::string &code) {
        ASSERT_EQ(luaL_dostring(context->state, code.c_str()), LUA_OK) << lua_tostring(context->state, -1);
        lua_settop(context->state, 0);
    }

    // The candidates at the end of line, or at cursor; what is printed is in printed.
    Words at(const std::string &line, size_t cursor = std::string::npos) {
        json_auto_t *list = json_array();
        testing::internal::CaptureStdout();
        lua_complete_line(line.c_str(), std::min(cursor, line.size()), list);
        printed = testing::internal::GetCapturedStdout();
        EXPECT_EQ(lua_gettop(context->state), 0);
        Words words;
        for (size_t i = 0; i < json_array_size(list); i++) words.push_back(json_string_value(json_array_get(list, i)));
        return words;
    }

    Words expression(const char *word, LuaKeys keys = LuaKeys::own) {
        Words words;
        int index = 0;
        while (char *candidate = lua_complete_expression(context.get(), word, index++, keys)) {
            words.push_back(candidate);
            free(candidate);
        }
        EXPECT_EQ(lua_gettop(context->state), 0);
        return words;
    }

    std::unique_ptr<rv_lua, decltype(&rv_lua_free)> context{rv_lua_init(0), rv_lua_free};
    std::string printed;
};

TEST_F(LuaComplete, OffersKeywordsInTheirOrderThenGlobals) {
    const Words words = at("");
    const Words keywords = {"and", "break",    "do",     "else", "elseif", "end",   "false",
                            "for", "function", "if",     "in",   "local",  "nil",   "not",
                            "or",  "repeat",   "return", "then", "true",   "until", "while"};
    ASSERT_GT(words.size(), keywords.size());
    EXPECT_EQ(Words(words.begin(), words.begin() + 21), keywords);
    EXPECT_EQ(std::count(words.begin(), words.end(), "print"), 1);
}

TEST_F(LuaComplete, AWordIsWhatStandsBetweenDelimiters) {
    for (const char c : std::string_view(" \t\n`@$><=;|&{("))
        EXPECT_EQ(at(std::string("x") + c + "string.up"), (Words{"string.upper"})) << c;
    EXPECT_EQ(at("#string.up"), (Words{}));
    EXPECT_EQ(at("whatever", 2), (Words{"while"}));
    EXPECT_EQ(at("wh x", 2), (Words{"while"}));
}

TEST_F(LuaComplete, AnAccessorFollowsAKeyInFull) {
    run("t = {f = print, named = {a = 1}, list = {1}, empty = {}, number = 1, file = io.stdout}");
    EXPECT_EQ(expression("t.f"), expression("t.f"));
    EXPECT_EQ(expression("t.named"), (Words{"t.named."}));
    EXPECT_EQ(expression("t.list"), (Words{"t.list["}));
    EXPECT_EQ(expression("t.empty"), (Words{"t.empty"}));
    EXPECT_EQ(expression("t.number"), (Words{"t.number"}));
    EXPECT_EQ(expression("t.file"), (Words{"t.file"}));
    EXPECT_EQ(expression("string.upper"), (Words{"string.upper("}));
    EXPECT_EQ(expression("t[\"named\"]"), (Words{"t[\"named\"]."}));
}

TEST_F(LuaComplete, KeysInBracketsAreQuotedAsTheyWereBegun) {
    run("t = {[1] = 0, x = 0, [2.0000001] = 0, [2.5] = 0, [true] = 0, [1e300] = 0, [1/0] = 0}");
    Words words = expression("t[");
    std::sort(words.begin(), words.end());
    EXPECT_EQ(words, (Words{"t[\"x\"]", "t[1]", "t[2]"}));
    EXPECT_EQ(expression("t['"), (Words{"t['x']"}));
    EXPECT_EQ(expression("t[\""), (Words{"t[\"x\"]"}));
    EXPECT_EQ(expression("t[1"), (Words{"t[1]"}));
}

TEST_F(LuaComplete, MethodsAreFunctionsOwnAndInherited) {
    run("t = setmetatable({own = print, a = 1}, {__index = {inherited = print, b = 1}}) s = 'text'");
    EXPECT_EQ(at("t:"), (Words{"t:own", "t:inherited"}));
    EXPECT_EQ(at("t:i"), (Words{"t:inherited"}));
    EXPECT_EQ(at("t.b"), (Words{"t.b"}));
    EXPECT_EQ(at("s:"), (Words{}));
    EXPECT_EQ(at("io.stdout:wr"), (Words{"io.stdout:write"}));
    run("setmetatable(t, {__index = print})");
    EXPECT_EQ(at("t:"), (Words{"t:own"}));
}

TEST_F(LuaComplete, ASeparatorAtTheBeginIsNone) {
    run("_G['.x'] = 1 _G[':y'] = 1");
    EXPECT_EQ(at(".x"), (Words{".x"}));
    EXPECT_EQ(at(":"), (Words{":y"}));
}

TEST_F(LuaComplete, PairsMayBeTheTablesOwn) {
    run("t = setmetatable({}, {__pairs = function() return next, {virtual = 1}, nil end})");
    EXPECT_EQ(at("t."), (Words{"t.virtual"}));
}

TEST_F(LuaComplete, ErrorsAreSwallowed) {
    for (const char *word : {"nothing.", "nothing.at.all.", "1.", "t[[", "t[.", "print:", "''.x", "error'x'.", ")."})
        EXPECT_EQ(at(word), (Words{})) << word;
    run("t = setmetatable({}, {__pairs = error, __index = setmetatable({}, {__index = error})})");
    EXPECT_EQ(at("t.x"), (Words{}));
    run("n = 0 t = setmetatable({}, {__pairs = function() return function() n = n + 1 if n > 2 then error() end "
        "return 'k' .. n, 1 end end})");
    EXPECT_EQ(at("t."), (Words{"t.k1", "t.k2"}));
    run("setmetatable(_G, {__index = error, __newindex = error})");
    EXPECT_EQ(at("wh"), (Words{"while"}));
    EXPECT_EQ(at("string.up"), (Words{"string.upper"}));
}

TEST_F(LuaComplete, KeysThatWouldDriveTheTerminalAreLeftOut) {
    run("t = {['a\\27[2J'] = 1, ['a\\0b'] = 1, ['a\\n'] = 1, ['a\\u{9b}'] = 1, abc = 1}");
    EXPECT_EQ(at("t.a"), (Words{"t.abc"}));
}

TEST_F(LuaComplete, WithoutAContextNothingIsOffered) {
    lua_complete_use(nullptr);
    EXPECT_EQ(at("wh"), (Words{}));
    lua_complete_use(context.get());
}

class LuaCompleteModules : public LuaComplete {
 protected:
    LuaCompleteModules() {
        std::filesystem::create_directories(folder + "/alpha");
        for (const char *file : {"alpha.lua", "alpha/init.lua", "alpha/beta.lua", "alpine.lua", "init.lua"})
            std::ofstream(folder + "/" + file) << "return {answer = 42}";
        std::ofstream(folder + "/albeit.lua") << "error('fails')";
        std::ofstream(folder + "/al\033[2J.lua") << "";
        run("package.path = '" + folder + "/?.lua;" + folder + "/?/init.lua'");
    }
    ~LuaCompleteModules() override { std::filesystem::remove_all(folder); }

    const std::string folder = testing::TempDir() + "lua_complete." + std::to_string(getpid());
};

TEST_F(LuaCompleteModules, AreFoundByTheirTemplatesOnce) {
    EXPECT_EQ(at("al"), (Words{"albeit", "alpha", "alpine"}));
    EXPECT_EQ(at("'al"), (Words{"'albeit'", "'alpha'", "'alpine'"}));
    EXPECT_EQ(at("\"alpi"), (Words{"\"alpine\""}));
    EXPECT_EQ(at("alpha."), (Words{"alpha.beta"}));
    EXPECT_EQ(at("in"), (Words{"in"}));
    EXPECT_EQ(printed, "");
}

TEST_F(LuaCompleteModules, AreLoadedByTheirWholeName) {
    EXPECT_EQ(at("alpha"), (Words{"alpha."}));
    EXPECT_EQ(printed, "\nLoaded module 'alpha'.\n");
    EXPECT_EQ(at("alpha"), (Words{"alpha."}));
    EXPECT_EQ(printed, "");
    EXPECT_EQ(at("alpha.answer"), (Words{"alpha.answer"}));
    run("alpha = nil");
    EXPECT_EQ(at("alpha"), (Words{"alpha."}));
    EXPECT_EQ(printed, "\nGlobalized module 'alpha'.\n");
    EXPECT_EQ(at("'alpine"), (Words{"'alpine'"}));
    EXPECT_EQ(printed, "");
    EXPECT_EQ(at("albeit"), (Words{"albeit"}));
    EXPECT_EQ(printed, "");
}

TEST_F(LuaCompleteModules, AGlobalOfThatNameStays) {
    run("require 'alpha' alpha = 5");
    EXPECT_EQ(at("alpha"), (Words{"alpha"}));
    EXPECT_EQ(printed, "");
}

TEST_F(LuaCompleteModules, PreloadableNamesOfferWhatIsTyped) {
    run("package.path = '' package.preload.almond = error package.preload.alder = error package.preload[1] = error");
    EXPECT_EQ(at("al"), (Words{"al"}));
    EXPECT_EQ(at("'al"), (Words{"'al"}));
    EXPECT_EQ(at("xy"), (Words{}));
}

TEST_F(LuaCompleteModules, NoRequireNoModules) {
    run("require = nil");
    EXPECT_EQ(at("al"), (Words{}));
    run("require = error");
    EXPECT_EQ(at("al"), (Words{}));
}

}  // namespace
