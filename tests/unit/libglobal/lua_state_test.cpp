// Lua contexts: running, what is printed and told, arguments, and the ways to stop.
#include <string>

#include <gtest/gtest.h>

#include "rv/lua.h"
#include "tests/unit/libglobal/lua_fixture.h"

namespace {

using LuaState = LuaTest;

TEST_F(LuaState, OutputIsCollected) {
    EXPECT_EQ(run("print('a', 1, 2.5, nil, true) io.write('b', 1, 1.5) io.stdout:write('c\\0d')"), RV_LUA_DONE);
    EXPECT_EQ(output(), std::string("a\t1\t2.5\tnil\ttrue\nb11.5c\0d", 25));
    EXPECT_STREQ(context->error.text, "");
}

TEST_F(LuaState, OutputIsThatOfTheLastRun) {
    run("print('one')");
    EXPECT_EQ(run("x = 1"), RV_LUA_DONE);
    EXPECT_EQ(output(), "");
}

TEST_F(LuaState, PrintCallsTostring) {
    EXPECT_EQ(run("tostring = function(x) return '<' .. x .. '>' end print(1, 2)"), RV_LUA_DONE);
    EXPECT_EQ(output(), "<1>\t<2>\n");
    EXPECT_EQ(run("tostring = function() end print(1)"), RV_LUA_FAILED);
    EXPECT_EQ(error(), "[string \"tostring = function() end print(1)\"]:1: 'tostring' must return a string to 'print'");
}

TEST_F(LuaState, WriteGivesTheFile) {
    EXPECT_EQ(run("assert(io.write('') == io.stdout) io.write('a'):write('b')"), RV_LUA_DONE);
    EXPECT_EQ(output(), "ab");
    EXPECT_EQ(run("io.write({})"), RV_LUA_FAILED);
}

TEST_F(LuaState, ArgumentsThatAreWrongAreNamedAsEver) {
    EXPECT_EQ(value("(io.write or print){}"), "test:1: bad argument #1 to 'io.write' (string expected, got table)");
    EXPECT_EQ(value("io.stdout:write('', {})"), "test:1: bad argument #2 to 'write' (string expected, got table)");
    EXPECT_EQ(value("io.lines(false)"), "test:1: bad argument #1 to 'lines' (string expected, got boolean)");
    EXPECT_EQ(value("io.stdin:seek('nowhere')"), "test:1: bad argument #1 to 'seek' (invalid option 'nowhere')");
}

TEST_F(LuaState, WriteToAFileGoesThere) {
    EXPECT_EQ(run("local f = io.tmpfile() io.output(f) io.write('x', 1) f:write('y') f:seek('set') "
                  "io.output(io.stdout) print(f:read('a'))"),
              RV_LUA_DONE);
    EXPECT_EQ(output(), "x1y\n");
}

TEST_F(LuaState, AnErrorIsToldWithItsPlace) {
    EXPECT_EQ(run("\nerror('boom')", "script.lua"), RV_LUA_FAILED);
    EXPECT_EQ(error(), "script.lua:2: boom");
    EXPECT_EQ(run("error('boom', 0)"), RV_LUA_FAILED);
    EXPECT_EQ(error(), "boom");
    EXPECT_EQ(run("x = = 1", "script.lua"), RV_LUA_FAILED);
    EXPECT_EQ(error(), "script.lua:1: unexpected symbol near '='");
    EXPECT_EQ(run("x = 1"), RV_LUA_DONE);
    EXPECT_EQ(error(), "");
}

TEST_F(LuaState, ErrorsThatAreNoTexts) {
    EXPECT_EQ(run("error({})"), RV_LUA_FAILED);
    EXPECT_EQ(error(), "(error object is a table value)");
    EXPECT_EQ(run("error()"), RV_LUA_FAILED);
    EXPECT_EQ(error(), "(error object is a nil value)");
    EXPECT_EQ(run("error(setmetatable({}, {__tostring = function() return 'mine' end}))"), RV_LUA_FAILED);
    EXPECT_EQ(error(), "mine");
    EXPECT_EQ(run("error(setmetatable({}, {__tostring = function() return {} end}))"), RV_LUA_FAILED);
    EXPECT_EQ(error(), "(no error message)");
    EXPECT_EQ(run("error(setmetatable({}, {__tostring = function() error('again') end}))"), RV_LUA_FAILED);
    EXPECT_FALSE(error().empty());
}

TEST_F(LuaState, Arguments) {
    EXPECT_EQ(run("local a, b = ... print(select('#', ...), a, b, arg[0], #arg, arg[1], arg[2])", "script.lua",
                  {"one", "t w o"}),
              RV_LUA_DONE);
    EXPECT_EQ(output(), "2\tone\tt w o\tscript.lua\t2\tone\tt w o\n");
    EXPECT_EQ(run("print(arg, ...)"), RV_LUA_DONE) << "of the run before";
}

TEST_F(LuaState, BinaryChunksAreRefused) {
    const std::string chunk = "\033Lua";
    EXPECT_EQ(rv_lua_exec(context.get(), chunk.data(), chunk.size(), nullptr, nullptr), RV_LUA_FAILED);
    EXPECT_NE(error().find("binary chunk"), std::string::npos) << error();
}

TEST_F(LuaState, ModulesAreNotLookedForInTheWorkingDirectory) {
    EXPECT_EQ(
        run("for p in (package.path .. ';' .. package.cpath):gmatch('[^;]+') do assert(p:sub(1, 1) == '/', p) end "
            "assert(package.path:find('/lua/5.3/?.lua', 1, true)) assert(package.cpath:find('?.so', 1, true))"),
        RV_LUA_DONE)
        << error();
}

TEST_F(LuaState, RvIsAModuleThatIsLoaded) {
    EXPECT_EQ(value("require 'rv' == rv"), "true");
    EXPECT_EQ(value("select(2, pcall(rv.get))"), "bad argument #1 to 'rv.get' (string expected, got no value)");
}

TEST_F(LuaState, ExitUnwinds) {
    EXPECT_EQ(run("print('a') os.exit(7) print('b')"), RV_LUA_EXIT);
    EXPECT_EQ(rv_lua_exit_status(context.get()), 7);
    EXPECT_EQ(output(), "a\n");
    EXPECT_EQ(run("while true do pcall(os.exit, 3) end"), RV_LUA_EXIT);
    EXPECT_EQ(rv_lua_exit_status(context.get()), 3);
    EXPECT_EQ(run("coroutine.wrap(function() pcall(os.exit, false) end)()"), RV_LUA_EXIT);
    EXPECT_EQ(rv_lua_exit_status(context.get()), 1);
    EXPECT_EQ(run("os.exit()"), RV_LUA_EXIT);
    EXPECT_EQ(rv_lua_exit_status(context.get()), 0);
    EXPECT_EQ(run("return 1"), RV_LUA_DONE) << "the state goes on";
}

}  // namespace
