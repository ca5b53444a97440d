// Errors as Lua mode tells them.
#include <algorithm>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "ravc/lua/colors.h"
#include "ravc/lua/traceback.h"

namespace {

class LuaTraceback : public testing::Test {
 protected:
    void SetUp() override {
        luaL_openlibs(L.get());
        was_colored = lua_set_colored(false);
    }
    void TearDown() override { lua_set_colored(was_colored); }

    // What a chunk ends with, as the handler tells it.
    std::string error_of(const char *chunk) {
        lua_pushcfunction(L.get(), lua_traceback_handler);
        EXPECT_EQ(luaL_loadbufferx(L.get(), chunk, strlen(chunk), "stdin", nullptr), LUA_OK);
        EXPECT_NE(lua_pcall(L.get(), 0, 0, -2), LUA_OK);
        const std::string text = lua_tostring(L.get(), -1);
        lua_settop(L.get(), 0);
        return text;
    }

    std::unique_ptr<lua_State, decltype(&lua_close)> L{luaL_newstate(), lua_close};
    bool was_colored = false;
};

TEST_F(LuaTraceback, TellsEveryLevel) {
    EXPECT_EQ(error_of("local function f() error('boom') end\nfunction g() f() end\ng()"),
              "[string \"stdin\"]:1: boom\n"
              "\n"
              "Stack trace:\n"
              "\t#0 [C]: in function ?\n"  // the handler itself: intended
              "\t#1 [C]: in function 'error'\n"
              "\t#2 [string \"stdin\"]:1: in function 'f'\n"
              "\t#3 [string \"stdin\"]:2: in function 'g'\n"
              "\t#4 [string \"stdin\"]:3: in the main chunk\n");
}

TEST_F(LuaTraceback, MarksTailCallsAndFunctionsWithoutAName) {
    EXPECT_EQ(error_of("local function f() error('x', 0) end return f()"),
              "x\n\nStack trace:\n"
              "\t#0 [C]: in function ?\n"
              "\t#1 [C]: in function 'error'\n"
              "\t... tail calls\n"
              "\t#2 [string \"stdin\"]:1: in function ?\n");
}

TEST_F(LuaTraceback, TakesTheTextOfWhatWasRaised) {
    const auto message = [this](const char *chunk) {
        const std::string text = error_of(chunk);
        return text.substr(0, text.find("\n\nStack trace:\n"));
    };
    EXPECT_EQ(message("error()"), "(no error message)");
    EXPECT_EQ(message("error({})"), "(no error message)");
    EXPECT_EQ(message("error(setmetatable({}, {__tostring = function() return 'told' end}))"), "told");
    EXPECT_EQ(message("error(setmetatable({}, {__tostring = function() end}))"), "(no error message)");
    EXPECT_EQ(message("error(42)"), "42");
}

TEST_F(LuaTraceback, PlacesAreBoldInColour) {
    lua_set_colored(true);
    EXPECT_EQ(error_of("error('x', 0)"),
              "x\n\nStack trace:\n"
              "\t#0 \033[1m[C]:\033[22m in function \033[1m?\033[22m\n"
              "\t#1 \033[1m[C]:\033[22m in function '\033[1merror\033[22m'\n"
              "\t#2 \033[1m[string \"stdin\"]:1:\033[22m in the main chunk\n");
}

TEST_F(LuaTraceback, SaysThatNothingWasActive) {
    lua_pushliteral(L.get(), "x");
    EXPECT_EQ(lua_traceback_handler(L.get()), 1);
    EXPECT_STREQ(lua_tostring(L.get(), -1), "x\n\nStack trace:\nNo activation records.\n");
}

TEST_F(LuaTraceback, ADeepStackIsToldWhole) {
    const std::string text = error_of("local function f(n) return n == 0 and error('x') or 1 + f(n - 1) end f(9000)");
    EXPECT_EQ(std::count(text.begin(), text.end(), '#'), 9004);
    EXPECT_FALSE(text.ends_with("...\n"));
}

TEST_F(LuaTraceback, AnEndlessRecursionIsCutShort) {
    const std::string text = error_of("local function f() return 1 + f() end f()");
    EXPECT_NE(text.find("stack overflow"), std::string::npos);
    EXPECT_NE(text.find("\t#9999 "), std::string::npos);
    EXPECT_TRUE(text.ends_with("\n\t...\n"));
}

}  // namespace
