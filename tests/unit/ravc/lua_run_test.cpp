// Running compiled statements: what is printed, what is kept, what the stack holds afterwards.
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "ravc/lua/run.h"
#include "tests/support/color_scope.h"

namespace {

struct Ran {
    int code;
    std::string output, error;
};

class LuaRun : public testing::Test {
 protected:
    LuaRun() { session.context = context.get(); }

    Ran run(const std::string &chunk) {
        lua_State *L = context->state;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        lua_results_show(&session);
        EXPECT_EQ(luaL_loadbufferx(L, chunk.data(), chunk.size(), "stdin", "t"), LUA_OK);
        const int code = lua_run_and_print(&session);
        lua_results_hide(&session);
        EXPECT_EQ(lua_gettop(L), 0);
        std::string output = testing::internal::GetCapturedStdout();
        return {code, output, testing::internal::GetCapturedStderr()};
    }

    const ColorScope plain{0};
    std::unique_ptr<rv_lua, decltype(&rv_lua_free)> context{rv_lua_init(0), rv_lua_free};
    LuaSession session;
};

TEST_F(LuaRun, ResultsAreNumberedAndKept) {
    EXPECT_EQ(run("return 1, 'a'").output, "_[1] = 1\n_[2] = \"a\"\n");
    EXPECT_EQ(run("return _[2]").output, "_[3] = \"a\"\n");
    EXPECT_EQ(run("").output, "");
    EXPECT_EQ(session.count, 3);
}

TEST_F(LuaRun, ColoursAreAroundTheNameAndTheNumber) {
    const ColorScope colored(1);
    EXPECT_EQ(run("return {true}").output, "\033[1;32m_[1]\033[0;32m = { true,  }\033[0m\n");
    const std::string error = run("error('x', 0)").error;
    EXPECT_TRUE(error.starts_with("\033[0;31mx\n\nStack trace:\n")) << error;
    EXPECT_TRUE(error.ends_with("\n\033[0m\n")) << error;
}

TEST_F(LuaRun, TheTableOfResultsIsThereWhileAStatementRuns) {
    run("keep = _");
    EXPECT_EQ(lua_getglobal(context->state, "_"), LUA_TNIL);
    lua_pop(context->state, 1);
    run("return 7");
    EXPECT_EQ(run("_ = 1 return keep[1]").output, "_[2] = 7\n");
    EXPECT_EQ(run("return _ == keep").output, "_[3] = true\n");
}

TEST_F(LuaRun, AnotherUnderscoreThatWasThereBeforeStays) {
    lua_pushinteger(context->state, 5);
    lua_setglobal(context->state, "_");
    EXPECT_EQ(run("return _").output, "_[1] = 5\n");
    EXPECT_EQ(lua_getglobal(context->state, "_"), LUA_TNUMBER);
    lua_pop(context->state, 1);
}

TEST_F(LuaRun, AnErrorIsFailedAndTold) {
    const Ran ran = run("error('boom')");
    EXPECT_EQ(ran.code, RV_LUA_FAILED);
    EXPECT_EQ(ran.output, "");
    EXPECT_TRUE(ran.error.starts_with("[string \"stdin\"]:1: boom\n\nStack trace:\n")) << ran.error;
    EXPECT_EQ(session.count, 0);
}

TEST_F(LuaRun, AnErrorOfPrintingIsToldAndTheOthersArePrinted) {
    const Ran ran =
        run("return 1, setmetatable({1, 2}, {__index = error}), setmetatable({{}, {}}, {__eq = error}),"
            " setmetatable({nil, nil, 3}, {__index = function() error('no element') end}), 5");
    EXPECT_EQ(ran.code, RV_LUA_DONE);
    EXPECT_TRUE(ran.output.starts_with("_[1] = 1\n_[2] = { 1, 2,  }\n")) << ran.output;
    EXPECT_TRUE(ran.output.ends_with("_[3] = 5\n")) << ran.output;
    EXPECT_NE(ran.error.find("no element\n\nStack trace:\n"), std::string::npos) << ran.error;
}

TEST_F(LuaRun, MoreResultsThanTheStackTakesArePrintedOrTold) {
    const Ran ran = run("return table.unpack({}, 1, 200000)");
    EXPECT_EQ(ran.code, RV_LUA_DONE);
    EXPECT_TRUE(ran.output.ends_with("_[200000] = nil\n"));
}

TEST_F(LuaRun, StrictGlobalsAreNoObstacle) {
    run("setmetatable(_G, {__index = error, __newindex = error})");
    EXPECT_EQ(run("return 1 + 1").output, "_[1] = 2\n");
    EXPECT_EQ(run("return _[1]").output, "_[2] = 2\n");
}

TEST_F(LuaRun, ATableThatIsTakenFromTheRegistryIsMadeAnew) {
    run("return 1");
    run("for k, v in pairs(debug.getregistry()) do if v == _ then debug.getregistry()[k] = nil end end");
    EXPECT_EQ(run("return 2, _[1]").output, "_[2] = 2\n_[3] = nil\n");
}

TEST_F(LuaRun, TheEndOfTheProgramIsToldOf) {
    EXPECT_EQ(run("os.exit(3)").code, RV_LUA_EXIT);
    EXPECT_EQ(run("return setmetatable({}, {__tostring = function() os.exit(4) end})").code, RV_LUA_EXIT);
    EXPECT_EQ(rv_lua_exit_status(context.get()), 4);
}

}  // namespace
