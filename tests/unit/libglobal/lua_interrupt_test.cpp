// Scripts that Ctrl-C stops, wherever they are.
#include <string>

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include "tests/support/interrupt.h"
#include "tests/unit/libglobal/lua_fixture.h"

namespace {

volatile sig_atomic_t reached_us;

void note(int) {
    reached_us = 1;
}

class LuaInterrupt : public LuaTest {
 protected:
    // Runs text, in which kill() has a program send SIGINT to this one a moment later.
    int stopped(const std::string &text) {
        reached_us = 0;
        const test::BlockedInterrupt blocked(note);
        const int code = run("local function kill() sender = io.popen('kill -INT ' .. arg[1]) end " + text, "test",
                             {std::to_string(getpid())});
        run("if sender then sender:close() end");
        return code;
    }
};

TEST_F(LuaInterrupt, APendingOneStopsAtOnce) {
    const test::BlockedInterrupt blocked(note);
    raise(SIGINT);
    EXPECT_EQ(run("print('a') while true do end"), RV_LUA_INTERRUPTED);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(run("print('a')"), RV_LUA_DONE);
    EXPECT_EQ(output(), "a\n");
}

TEST_F(LuaInterrupt, StopsALoop) {
    EXPECT_EQ(stopped("kill() while true do end"), RV_LUA_INTERRUPTED);
    EXPECT_FALSE(reached_us) << "the program's own handler is not called";
}

TEST_F(LuaInterrupt, StopsALoopOfProtectedCalls) {
    EXPECT_EQ(stopped("kill() while true do pcall(function() while true do end end) end"), RV_LUA_INTERRUPTED);
}

TEST_F(LuaInterrupt, StopsAMessageHandler) {
    EXPECT_EQ(stopped("while true do xpcall(error, function() kill() while true do end end) end"), RV_LUA_INTERRUPTED);
}

TEST_F(LuaInterrupt, StopsCoroutines) {
    EXPECT_EQ(stopped("kill() coroutine.wrap(function() while true do end end)()"), RV_LUA_INTERRUPTED);
    EXPECT_EQ(
        stopped("kill() while true do coroutine.resume(coroutine.create(function() "
                "coroutine.resume(coroutine.create(function() while true do end end)) while true do end end)) end"),
        RV_LUA_INTERRUPTED);
}

TEST_F(LuaInterrupt, StopsAReadThatWaits) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_EQ(stopped("kill() io.open('/dev/fd/" + std::to_string(ends[0]) + "'):read()"), RV_LUA_INTERRUPTED);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(LuaInterrupt, StopsWaitingForAProgram) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const std::string endless = "cat /proc/' .. arg[1] .. '/fd/" + std::to_string(ends[0]) + " 2>/dev/null";
    EXPECT_EQ(stopped("kill() io.popen('" + endless + "'):close()"), RV_LUA_INTERRUPTED);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(LuaInterrupt, AProgramInTheForegroundDecides) {
    EXPECT_EQ(stopped("os.execute('kill -INT ' .. arg[1])"), RV_LUA_DONE) << "the program has gone on";
    EXPECT_EQ(stopped("os.execute('kill -INT $$') print('b')"), RV_LUA_INTERRUPTED);
    EXPECT_EQ(output(), "");
}

TEST_F(LuaInterrupt, TheStateLivesOn) {
    for (int i = 0; i < 1000; i++) {
        const test::BlockedInterrupt blocked(note);
        raise(SIGINT);
        ASSERT_EQ(run("while true do end"), RV_LUA_INTERRUPTED);
    }
    EXPECT_EQ(value("1 + 1"), "2");
}

TEST_F(LuaInterrupt, ACoroutineThatWasSuspendedGoesOn) {
    run("co = coroutine.create(function() local n = 0 while true do n = n + 1 coroutine.yield(n) end end)");
    EXPECT_EQ(value("coroutine.resume(co)"), "true\t1");
    EXPECT_EQ(stopped("kill() while true do end"), RV_LUA_INTERRUPTED);
    EXPECT_EQ(value("coroutine.resume(co)"), "true\t2");
}

TEST_F(LuaInterrupt, AnIgnoredOneStaysIgnored) {
    signal(SIGINT, SIG_IGN);
    EXPECT_EQ(run("os.execute('kill -INT ' .. arg[1]) print('a')", nullptr, {std::to_string(getpid())}), RV_LUA_DONE);
    EXPECT_EQ(output(), "a\n");
    signal(SIGINT, SIG_DFL);
}

TEST_F(LuaInterrupt, CoroutinesAreAsEver) {
    EXPECT_EQ(value("coroutine.resume(coroutine.create(function(...) return select('#', ...), ... end), 1, nil)"),
              "true\t2\t1\tnil");
    EXPECT_EQ(value("coroutine.resume(1)"), "test:1: bad argument #1 to 'resume' (coroutine expected)");
    EXPECT_EQ(value("coroutine.wrap(function(a) local b = coroutine.yield(a) end)(5)"), "5");
    EXPECT_EQ(value("pcall(coroutine.wrap(function() error('x', 0) end))"), "false\tx");
    EXPECT_EQ(value("coroutine.wrap(function() error('x') end)()"), "test:1: test:1: x");
    EXPECT_EQ(value("coroutine.resume(coroutine.running())"), "false\tcannot resume non-suspended coroutine");
}

}  // namespace
