"""Lua mode: what is entered, what is printed, what the prompt tells, what is left behind."""

import signal

import pytest
from lua_shell import enter_lines, lua_prompt, plain


@pytest.fixture
def lua(shell):
    """A shell in Lua mode."""
    shell.enter("lua")
    assert lua_prompt(shell) == "ravc-lua:> "
    return shell


def test_an_expression_prints_its_value(lua):
    assert plain(lua.enter("1+1")) == "_[1] = 2\n"
    assert plain(lua.enter("_[1]*10")) == "_[2] = 20\n"


def test_the_marks_of_a_result_are_coloured(lua):
    assert "\x1b[1;32m_[1]\x1b[0;32m = 2\x1b[0m\r\n" in lua.enter("1+1")


def test_a_statement_prints_nothing(lua):
    assert plain(lua.enter("x = 1")) == ""
    assert plain(lua.enter("x")) == "_[1] = 1\n"


def test_each_value_has_its_number(lua):
    assert plain(lua.enter("1, nil, 'a'")) == '_[1] = 1\n_[2] = nil\n_[3] = "a"\n'
    assert plain(lua.enter("_[1], _[3]")) == '_[4] = 1\n_[5] = "a"\n'


def test_tables_take_their_rows(lua):
    assert plain(lua.enter("{a = {1, 2}}")) == "_[1] = { \n  a = { 1, 2,  },\n}\n"


def test_what_is_printed_comes_before_what_is_returned(lua):
    assert plain(lua.enter("print('p') or 1")) == "p\n_[1] = 1\n"
    assert plain(lua.enter("io.write('no line feed')")).startswith("no line feed_[2] = file (0x")


def test_results_are_in_a_table_while_a_statement_runs(lua):
    lua.enter("keep = _")
    assert plain(lua.enter("keep == _, rawlen(keep)")) == "_[1] = true\n_[2] = 0\n"
    assert plain(lua.enter("_ = 5")) == ""
    assert plain(lua.enter("type(_), #_")) == '_[3] = "table"\n_[4] = 2\n'


@pytest.mark.parametrize("table", ["_G", "_", "debug.getregistry()"])
def test_no_metatable_ends_the_mode(lua, table):
    lua.enter(f"setmetatable({table}, {{__index = error, __newindex = error}})")
    assert "Stack trace:" in plain(lua.enter("undefined.field.x"))
    lua.enter("1")
    assert plain(lua.enter("1+1")).endswith("] = 2\n")


def test_a_script_that_takes_the_table_away(lua):
    lua.enter("1")
    lua.enter("for k, v in pairs(debug.getregistry()) do if v == _ then debug.getregistry()[k] = nil end end")
    lua.enter("debug.getregistry()[2] = nil")
    assert lua.process.poll() is None


@pytest.mark.parametrize("value", [
    "setmetatable({}, {__tostring = function() error('broken') end})",
    "setmetatable({}, {__tostring = function() return {} end})",
    "setmetatable({}, {__eq = error, __lt = error, __gc = error, __len = error, __pairs = error, __name = 5})"])
def test_hostile_values_are_printed(lua, value):
    lua.enter(value)
    assert plain(lua.enter("1+1")) == "_[2] = 2\n"


def test_an_error_of_printing_is_told_as_any_other(lua):
    output = lua.enter("1, setmetatable({1, [2] = nil}, {__index = error}), debug.setmetatable(nil, nil) or 3")
    assert plain(output).startswith("_[1] = 1\n")
    output = lua.enter("setmetatable({1, 2, {}}, {__index = error})")
    values = "1, setmetatable({}, {__tostring = true}), setmetatable({__x}, {__metatable = 1}), 4"
    output = lua.enter(values)
    assert plain(output).count("] = ") == 4
    assert plain(lua.enter("1+1")).endswith("] = 2\n")


def test_an_incomplete_statement_goes_on(lua, shell_tmp):
    lua.send("for i=1,2 do\r")
    lua.wait(lambda: lua.takes_keys() and lua.rows()[-1] == ">", "the prompt of a continuation")
    lua.send("\rprint(i) end\r")
    lua.wait_line("")
    assert lua.rows()[-3:-1] == ["1", "2"]
    lua.send("q\r")
    lua.wait(lambda: lua_prompt(lua) == "ravc:> ", "the shell's prompt")
    assert (shell_tmp.folder / ".ravc.lua.hist").read_bytes() == b"for i=1,2 do\rprint(i) end\n"


def test_what_looks_like_leaving_is_code_in_a_continuation(lua):
    enter_lines(lua, "q = {1,", "q", "}")
    assert plain(lua.enter("#q, q[2]")) == "_[1] = 1\n_[2] = nil\n"


def test_an_open_text_waits_for_another_line(lua):
    lua.send("print('a\r")
    lua.wait(lambda: lua.takes_keys() and lua.rows()[-1] == ">", "the prompt of a continuation")
    lua.send("b')\r")
    lua.wait_line("")
    assert "unfinished string near ''a'" in lua.text()
    assert lua_prompt(lua) == "ravc-lua(fail):> "


def test_an_error_shows_where_it_happened(lua):
    output = lua.enter("error('boom')")
    assert "\x1b[0;31m[string \"stdin\"]:1: boom\r\n\r\nStack trace:\r\n\t#0 \x1b[1m[C]:\x1b[22m in function " in output
    assert plain(output) == (
        '[string "stdin"]:1: boom\n\nStack trace:\n\t#0 [C]: in function ?\n\t#1 [C]: in function \'error\'\n'
        '\t#2 [string "stdin"]:1: in the main chunk\n\n')
    assert lua_prompt(lua) == "ravc-lua:> "


@pytest.mark.parametrize("value, told", [
    ("nil", "(no error message)"), ("{}", "(no error message)"), ("12", "12"),
    ("setmetatable({}, {__tostring = function() return 'told' end})", "told"),
    ("setmetatable({}, {__tostring = function() return {} end})", "(no error message)")])
def test_anything_may_be_raised(lua, value, told):
    assert plain(lua.enter(f"error({value}, 0)")).startswith(f"{told}\n\nStack trace:\n")
    assert plain(lua.enter("1+1")) == "_[1] = 2\n"


def test_errors_of_errors(lua):
    lua.enter("error(setmetatable({}, {__tostring = error}))")
    lua.enter("local function f() return f() + 1 end return f()")
    assert plain(lua.enter("1+1")) == "_[1] = 2\n"


def test_a_syntax_error_is_in_the_prompt_until_something_compiles(lua):
    output = lua.enter("x = = 1")
    assert output.count("\x1b[0;31m[string \"stdin\"]:1: unexpected symbol near '='\x1b[0m\r\n") == 1
    assert lua_prompt(lua) == "ravc-lua(fail):> "
    lua.enter("error()")
    assert lua_prompt(lua) == "ravc-lua:> "
    lua.enter("x = = 1")
    lua.enter("")
    assert lua_prompt(lua) == "ravc-lua(fail):> "
    lua.enter("--")
    assert lua_prompt(lua) == "ravc-lua:> "


def test_an_incomplete_statement_leaves_the_prompt_as_it_was(lua):
    lua.enter("x = = 1")
    lua.send("do\rend\r")
    lua.wait(lambda: lua_prompt(lua) == "ravc-lua:> ", "the prompt")


@pytest.mark.parametrize("word", ["q", "quit", "ctrl-d", "ctrl-d in a continuation"])
def test_leaving(lua, word):
    if word.startswith("ctrl-d"):
        lua.send("do\r\x04" if word != "ctrl-d" else "\x04")
    else:
        lua.send(f"{word}\r")
    lua.wait(lambda: lua_prompt(lua) == "ravc:> ", "the shell's prompt")
    assert "0.2.1" in lua.enter("cat Device.DeviceInfo.SoftwareVersion")


@pytest.mark.parametrize("line", [" q", "q ", "Quit", "quit()"])
def test_not_leaving(lua, line):
    lua.enter(line)
    assert lua_prompt(lua).startswith("ravc-lua")


def test_each_session_is_new(lua):
    lua.enter("x = 1")
    lua.enter("x")
    lua.enter("q")
    lua.enter("lua")
    assert plain(lua.enter("x")) == "_[1] = nil\n"


def test_the_path_stays_in_the_prompt(shell):
    shell.enter("cd Device.Users")
    shell.enter("lua")
    assert lua_prompt(shell) == "ravc-lua:Device.Users> "


def test_history_is_its_own(lua, shell_tmp):
    lua.enter("x = 1")
    lua.enter(" x = 2")
    lua.enter("y = = 1")
    lua.send("\x1b[A")
    lua.wait_line("y = = 1").send("\x1b[A")
    lua.wait_line("x = 1").send("\x03")
    lua.wait_line("")
    lua.enter("q")
    assert (shell_tmp.folder / ".ravc.lua.hist").read_text() == "x = 1\ny = = 1\n"
    lua.send("\x1b[A")
    lua.wait_line("lua")
    assert shell_tmp.history.read_text() == "lua\n"
    lua.send("\r")
    lua.wait(lambda: lua_prompt(lua) == "ravc-lua:> ", "Lua mode")
    lua.send("\x1b[A")
    lua.wait_line("y = = 1")


def test_a_statement_of_several_lines_comes_back(lua):
    enter_lines(lua, "for i = 1, 2 do", "print('row', i)", "end")
    lua.send("\x1b[A")
    lua.wait(lambda: lua.text().count("print('row', i)") == 2, "the statement")
    lua.send("\r")
    lua.wait(lambda: lua.text().count("row     2") == 2, "its output")
    lua.wait_line("")


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP])
@pytest.mark.parametrize("state", ["waiting", "running"])
def test_signals_end_in_good_order(lua, shell_tmp, number, state):
    lua.enter("x = 1")
    if state == "running":
        lua.send("print('begun') while true do end\r")
        lua.wait_output("begun\r\n")
    lua.process.send_signal(number)
    assert lua.wait_end() == 128 + number
    assert (shell_tmp.folder / ".ravc.lua.hist").read_text() == "x = 1\n"
    assert shell_tmp.history.read_text() == "lua\n"


@pytest.mark.parametrize("code, status", [("os.exit(3)", 3), ("os.exit()", 0), ("os.exit(false)", 1),
                                          ("pcall(os.exit, 4)", 4)])
def test_a_statement_ends_the_program(lua, shell_tmp, code, status):
    lua.enter("x = 1")
    lua.send(f"io.write('last') {code}\r")
    assert lua.wait_end() == status
    assert b"last" in lua.output
    assert not lua.takes_keys()
    assert (shell_tmp.folder / ".ravc.lua.hist").read_text() == f"x = 1\nio.write('last') {code}\n"
    assert shell_tmp.history.read_text() == "lua\n"
