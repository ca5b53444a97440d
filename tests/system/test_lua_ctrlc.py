"""Ctrl-C in Lua mode and in lua commands: whatever runs is stopped, and what is typed next is answered rightly."""

import os

import pytest
from lua_shell import lua_prompt, plain
from processes import wait_for_program

ROUNDS = int(os.environ.get("RAV_CTRLC", "100"))

MANY = 1 << 24  # bytes, more than any terminal takes at once

# Each says "begun" and never ends.
ENDLESS = [
    "print('begun') while true do end",
    "print('begun') while true do pcall(function() while true do end end) end",
    "print('begun') xpcall(function() while true do end end, function() while true do end end)",
    "print('begun') coroutine.wrap(function() while true do end end)()",
    "print('begun') co = coroutine.create(function() while true do coroutine.yield() end end)"
    " while true do coroutine.resume(co) end",
    "print('begun') while true do xpcall(function() while true do end end, function(m) return m end) end",
    "print('begun') local function f() return f() end f()",
    "print('begun') setmetatable({}, {__index = function(t, k) return t[k .. 'x'] end}).a = nil while true do end",
    "print('begun') table.sort({1, 2, 3}, function() while true do end end)",
    "print('begun') io.read()",
    "print('begun') os.execute('sleep 1000')",
    "print('begun') rv.listen()",
    "print('begun') return setmetatable({}, {__tostring = function() while true do end end})",
    "t = {} for i = 1, 24 do t = {t, t, t, t, t, t, t, t} end print('begun') return t",
]


@pytest.fixture
def lua(shell):
    shell.enter("lua")
    return shell


def interrupt(lua, statement):
    lua.forget()
    lua.send(f"{statement}\r")
    lua.wait_output("begun\r\n")
    if "sleep" in statement:
        wait_for_program("sleep", lua.process.pid)
    lua.send("\x03")
    lua.wait_line("")


def answers(lua, number=1):
    lua.forget()
    lua.send("1+1\r")
    lua.wait_output(f"_[{number}]\x1b[0;32m = 2")
    lua.wait_line("")


@pytest.mark.parametrize("statement", ENDLESS)
def test_a_statement_is_stopped(lua, statement):
    interrupt(lua, statement)
    assert "interrupted" not in lua.text()
    assert lua_prompt(lua) == "ravc-lua:> "
    answers(lua)


@pytest.mark.parametrize(("statement", "begin"), [
    ("('x'):rep(MANY)", "[[\r\nxxx"), ("print('', ('x'):rep(MANY))", "\txxx"), ("io.write('\\t', ('x'):rep(MANY))", "\txxx")])
def test_a_long_text_is_cut(lua, statement, begin):
    lua.forget()
    lua.send(statement.replace("MANY", str(MANY)) + "\r")
    lua.wait_output(begin)
    lua.send("\x03")
    lua.wait_line("")
    assert lua.output.count(b"x") < MANY // 2
    lua.enter("q")
    assert "0.2.1" in lua.enter("cat Device.DeviceInfo.SoftwareVersion")


def test_the_output_of_a_statement_of_the_shell_is_cut(shell):
    shell.forget()
    shell.send(f"lua print('',('x'):rep({MANY}))\r")
    shell.wait_output("\txxx")
    shell.send("\x03")
    shell.wait_line("")
    assert shell.output.count(b"x") < MANY // 2
    assert "0.2.1" in shell.enter("cat Device.DeviceInfo.SoftwareVersion")


def test_a_stopped_statement_prints_a_line_feed_and_nothing_else(lua):
    interrupt(lua, ENDLESS[0])
    output = lua.output.decode()
    assert plain(output) == "begun\n^C\n"


def test_what_was_typed_meanwhile_is_not_run(lua):
    lua.forget()
    lua.send(f"{ENDLESS[0]}\r")
    lua.wait_output("begun\r\n")
    lua.send("print('typed ' .. 'ahead')\r\x03")
    lua.wait_line("")
    answers(lua)
    assert "typed ahead" not in lua.text()


def test_a_stopped_statement_is_not_remembered(lua, shell_tmp):
    lua.enter("x = 1")
    interrupt(lua, ENDLESS[0])
    lua.enter("q")
    assert (shell_tmp.folder / ".ravc.lua.hist").read_bytes() == b"x = 1\n"


def test_the_state_of_the_prompt_stays(lua):
    lua.enter("x = = 1")
    interrupt(lua, ENDLESS[0])
    assert lua_prompt(lua) == "ravc-lua(fail):> "


def test_a_request_is_abandoned(middleman, open_shell):
    shell = open_shell(middleman.socket).wait_line("")
    shell.enter("lua")
    middleman.stall("GetParameterValues")
    before = len(middleman.requests("GetParameterValues"))
    for count in range(1, 4):
        shell.send("rv.get('Device.DeviceInfo.SoftwareVersion')\r")
        middleman.wait_request("GetParameterValues", before + count)
        shell.send("\x03")
        shell.wait_line("")
    del middleman.handlers["GetParameterValues"]
    assert plain(shell.enter("rv.get('Device.DeviceInfo.SoftwareVersion')")) == '_[1] = "0.2.1"\n'


def test_at_the_prompt_the_line_is_dropped(lua):
    lua.send("half a line")
    lua.wait_line("half a line").send("\x03")
    lua.wait_line("")
    assert lua.rows()[-2].endswith("> half a line^C")
    answers(lua)


def test_in_a_continuation_the_statement_is_dropped(lua, shell_tmp):
    lua.send("print('never',\r")
    lua.wait(lambda: lua.takes_keys() and lua.rows()[-1] == ">", "the prompt of a continuation")
    lua.send("1")
    lua.wait(lambda: lua.rows()[-1] == "> 1", "the line")
    lua.send("\x03")
    lua.wait_line("")
    assert lua.rows()[-2] == "> 1^C"
    answers(lua)
    lua.enter("q")
    assert (shell_tmp.folder / ".ravc.lua.hist").read_bytes() == b"1+1\n"


def test_often_in_one_session(lua):
    for count in range(1, ROUNDS + 1):
        interrupt(lua, ENDLESS[count % 4])
        if count % 50 == 0:
            answers(lua, count // 50)
    lua.enter("q")
    assert "0.2.1" in lua.enter("cat Device.DeviceInfo.SoftwareVersion")


def test_a_statement_of_the_shell_is_stopped(shell):
    for count in range(1, 11):
        shell.forget()
        shell.send("lua io.stderr:write('begun\\n') while true do end\r")
        shell.wait_output("begun\r\n")
        shell.send("\x03")
        shell.wait_line("")
        assert shell.rows()[-2] == "^C", count
    assert plain(shell.enter("lua print(1+1)")) == "print(1+1) \n2\n"


def test_leaving_gives_the_shell_its_ctrl_c_back(middleman, open_shell):
    shell = open_shell(middleman.socket).wait_line("")
    shell.enter("lua")
    interrupt(shell, ENDLESS[0])
    shell.enter("q")
    middleman.stall("GetParameterValues")
    before = len(middleman.requests("GetParameterValues"))
    shell.send("cat Device.DeviceInfo.SoftwareVersion\r")
    middleman.wait_request("GetParameterValues", before + 1)
    shell.send("\x03")
    shell.wait_line("")
    del middleman.handlers["GetParameterValues"]
    shell.send("half")
    shell.wait_line("half").send("\x03")
    shell.wait(lambda: shell.rows()[-2].endswith("half^C"), "the dropped line")
    assert "0.2.1" in shell.enter("cat Device.DeviceInfo.SoftwareVersion")


def test_completion_is_stopped(lua):
    lua.enter("endless = setmetatable({}, {__pairs = function() print('begun') while true do end end})")
    lua.send("endless.x")
    lua.wait_line("endless.x").forget()
    lua.send("\t")
    lua.wait_output("begun\r\n")
    lua.send("\x03")
    lua.wait_line("")
    answers(lua)
