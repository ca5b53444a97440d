// The printer of Lua values: a case is a chunk and what the values it returns print as, one below the other. Colours
// are off, as where the shell prints results.
#include <memory>

#include <gtest/gtest.h>

#include "ravc/lua/colors.h"
#include "ravc/lua/value_print.h"
#include "tests/support/data_cases.h"

namespace {

int print_all(lua_State *L) {
    const int count = lua_gettop(L);
    std::string &text = *static_cast<std::string *>(lua_touserdata(L, 1));
    for (int n = 2; n <= count; ++n) {
        lua_print_begin(L, 80);
        lua_value_print(L, n);
        EXPECT_EQ(lua_gettop(L), count);
        text += lua_printed() + "\n";
        lua_print_end(L);
    }
    return 0;
}

class LuaPrint : public testing::Test {
 protected:
    void SetUp() override {
        luaL_openlibs(L.get());
        was_colored = lua_set_colored(false);
    }
    void TearDown() override { lua_set_colored(was_colored); }

    // What the values of a chunk print as, a line each; the error where there is one.
    std::string print(const std::string &chunk) {
        std::string text;
        lua_pushcfunction(L.get(), print_all);
        lua_pushlightuserdata(L.get(), &text);
        if (luaL_loadstring(L.get(), chunk.c_str()) != LUA_OK || lua_pcall(L.get(), 0, LUA_MULTRET, 0) != LUA_OK ||
            lua_pcall(L.get(), lua_gettop(L.get()) - 1, 0, 0) != LUA_OK) {
            text += lua_tostring(L.get(), -1);
        }
        lua_settop(L.get(), 0);
        return text;
    }

    std::unique_ptr<lua_State, decltype(&lua_close)> L{luaL_newstate(), lua_close};
    bool was_colored = false;
};

class LuaPrintCase : public LuaPrint, public testing::WithParamInterface<DataCase> {};

TEST_P(LuaPrintCase, PrintsAsItsFileSays) {
    EXPECT_EQ(print(GetParam().read("input")), GetParam().read("output"));
}

INSTANTIATE_TEST_SUITE_P(Data, LuaPrintCase, testing::ValuesIn(data_cases("lua_print")), case_name);

TEST_F(LuaPrint, AddressesAreInAngleBrackets) {
    EXPECT_EQ(
        print("return print"), "<function: " + [&] {
            char text[40];
            lua_getglobal(L.get(), "print");
            snprintf(text, sizeof text, "%p", lua_topointer(L.get(), -1));
            lua_pop(L.get(), 1);
            return std::string(text);
        }() + ">\n");
    EXPECT_EQ(print("return coroutine.create(print)").rfind("<thread: 0x", 0), 0U);
    EXPECT_EQ(print("return setmetatable({}, {}), debug.setmetatable(io.stdout, nil)").rfind("{  }\n<userdata: 0x", 0),
              0U);
}

TEST_F(LuaPrint, LightUserdataShowsNothing) {
    lua_pushlightuserdata(L.get(), this);
    lua_setglobal(L.get(), "light");
    EXPECT_EQ(print("return light, {light}"), "\n{ ,  }\n");
}

TEST_F(LuaPrint, WordsAndKeysAreBoldInColour) {
    lua_set_colored(true);
    EXPECT_EQ(print("return nil, true, {a = 1}"),
              "\033[1mnil\033[22m\n\033[1mtrue\033[22m\n{ \n  \033[1ma\033[22m = 1,\n}\n");
    EXPECT_EQ(print("local t = {} t[1] = t return t"), "{ { \033[1m[-1]...\033[22m }, \n}\n");
}

TEST_F(LuaPrint, AnErrorOfAMetamethodEndsThePrintingAndTheNextStartsAfresh) {
    EXPECT_EQ(
        print("return {{{setmetatable({1}, {__index = function() error('no', 0) end, __len = 3}), x = 1}}}").find("no"),
        std::string::npos)
        << "raw lengths and raw elements raise nothing";
    EXPECT_EQ(print("local e = setmetatable({}, {__eq = function() error('no', 0) end}) "
                    "return {{setmetatable({e}, getmetatable(e))}}"),
              "no");
    EXPECT_EQ(print("return {1}"), "{ 1,  }\n");
}

TEST_F(LuaPrint, WidthLeavesEscapeSequencesOut) {
    EXPECT_EQ(visible_width("\033[1;32mabc\033[0m"), 3);
    EXPECT_EQ(visible_width("ab\033[1"), 2);
    EXPECT_EQ(visible_width(""), 0);
}

TEST_F(LuaPrint, ALongListIsPrintedWhole) {
    const std::string text = print("local t = {} for i = 1, 100000 do t[i] = 7 end return t");
    EXPECT_EQ(std::count(text.begin(), text.end(), '7'), 100000);
}

}  // namespace
