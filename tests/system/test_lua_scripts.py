"""The runner of Lua scripts: files, arguments, output, the ways in which a script ends, and Ctrl-C."""

import os
import signal
import subprocess

import pytest
from daemon import RAVC
from lua import lua  # noqa: F401  (a fixture)
from processes import wait_for_program
from screen import Screen


@pytest.fixture
def terminal(lua, tmp_path):
    """Runs a script at a terminal: terminal(text, *arguments)."""
    started = []

    def start(text, *arguments):
        started.append(Screen(lua.command(text, *arguments), cwd=lua.folder))
        return started[-1]

    yield start
    for screen in started:
        screen.close()
        assert b"Sanitizer" not in screen.output and b"runtime error" not in screen.output, screen.output


def test_arguments(lua):
    text = "print(arg[0], #arg, arg[1], arg[2], ...)"
    assert lua.run(text, "one", "t w o").stdout == "script.lua\t2\tone\tt w o\tone\tt w o\n"
    assert lua.run(text, "--", "-x", "--y").stdout == "script.lua\t2\t-x\t--y\t-x\t--y\n"


def test_by_the_programs_other_name(lua, tmp_path):
    program = tmp_path / "ravc_lua"
    program.symlink_to(RAVC.resolve())
    (tmp_path / "other.lua").write_text("print(arg[0], ...)")
    result = subprocess.run([program, "-u", lua.socket, "other.lua", "a", "b"], capture_output=True, text=True,
                            timeout=60, check=False, cwd=tmp_path)
    assert (result.returncode, result.stdout) == (0, "other.lua\ta\tb\n")


def test_the_line_of_the_interpreter_is_no_code(lua):
    assert lua.run("#!/usr/bin/ravc_lua -x\nprint(debug.getinfo(1).currentline)").stdout == "2\n"
    assert lua.run("#!/usr/bin/ravc_lua\nerror('boom')").stdout == "script.lua:2: boom\n"
    assert lua.run("#!/usr/bin/ravc_lua").stdout == ""
    assert lua.run("").stdout == ""


def test_errors_are_told_and_nothing_else(lua):
    for text, told in (("print('a') error('boom')", "script.lua:1: boom"), ("x = = 1", "unexpected symbol near '='"),
                       ("for", "<eof>"), ("error({})", "(error object is a table value)"),
                       ("error(nil)", "(error object is a nil value)"), ("local function f() return 1 + f() end f()",
                                                                         "stack overflow")):
        result = lua.run(text)
        assert result.returncode == 0 and told in result.stdout and not result.stdout.startswith("a\n"), result
        assert result.stderr == ""


def test_scripts_that_are_no_text(lua):
    assert "binary chunk" in lua.run(b"\x1bLuaS\x00").stdout
    assert lua.run(b"print('a\\0b')").stdout == "a\0b\n"


def test_long_scripts_and_those_without_a_size(lua, tmp_path):
    lines = 100000
    assert lua.run("x = (x or 0) + 1\n" * lines + "print(x)").stdout == f"{lines}\n"
    fifo = tmp_path / "fifo"
    os.mkfifo(fifo)
    with subprocess.Popen([RAVC.resolve(), "-u", lua.socket, "-S", fifo], stdout=subprocess.PIPE, text=True) as process:
        fifo.write_text("print('through a FIFO')")
        assert process.communicate(timeout=60)[0] == "through a FIFO\n"


def test_a_folder_is_no_script(lua, tmp_path):
    result = subprocess.run([RAVC, "-u", lua.socket, "-S", tmp_path], capture_output=True, text=True, timeout=60,
                            check=False)
    assert (result.returncode, result.stdout) == (255, f"Cannot open script file {tmp_path}\n")


@pytest.mark.parametrize(("code", "status"), [("os.exit()", 0), ("os.exit(true)", 0), ("os.exit(false)", 1),
                                              ("os.exit(7)", 7), ("os.exit(263)", 7), ("pcall(os.exit, 3)", 3),
                                              ("coroutine.wrap(os.exit)(4)", 4), ("table.sort({2, 1}, os.exit)", 1)])
def test_exit(lua, code, status):
    result = lua.run(f"io.write('flushed') {code} print('not reached')")
    assert (result.returncode, result.stdout) == (status, "flushed")


def test_input(lua):
    text = "io.write('name? ') local name = io.read() print(name) print(io.read('a'))"
    assert lua.run(text, input="joe\nrest\nof it").stdout == "name? joe\nrest\nof it\n"


def test_programs_find_their_place_in_the_output(lua):
    text = "print(1) os.execute('echo 2') print(3) print(io.popen('echo 4'):read('a')) io.popen('cat', 'w'):write('5')"
    assert lua.run(text).stdout == "1\n2\n3\n4\n\n5"
    assert lua.output("print(os.execute('exit 3')) print(os.execute('kill -TERM $$')) print(os.execute())"
                      "print(io.popen('exit 4'):close())") == "nil\texit\t3\nnil\tsignal\t15\ntrue\nnil\texit\t4\n"


def test_programs_inherit_nothing(lua):
    text = ("local f = io.open(arg[0]) local command = \"ls /proc/self/fd | tr '\\n' ' '; grep -E 'Sig(Blk|Ign)' /proc/self/status\""
            "os.execute(command) print(io.popen(command):read('a'))")
    lines = lua.output(text).splitlines()
    assert [line for line in lines if line.startswith("0 1 2 3 Sig")] == [lines[0], lines[2]], "3 is the folder itself"
    for line in lines[:4]:
        assert int(line.split()[-1], 16) & (1 << signal.SIGINT - 1) == 0, lines


LOOPS = {
    "a loop": "while true do end",
    "protected calls": "while true do pcall(function() while true do end end) end",
    "a coroutine": "coroutine.wrap(function() while true do end end)()",
    "requests": "while true do rv.get('.') end",
    "protected requests": "while true do pcall(rv.get, '.') end",
    "rv.wait": "rv.wait('Device.DeviceInfo.UpTime', -1)",
    "rv.listen": "rv.on(20, print) rv.listen()",
    "input": "io.read()",
}


@pytest.mark.parametrize("loop", LOOPS.values(), ids=LOOPS)
def test_ctrl_c_ends_a_script(terminal, loop):
    screen = terminal(f"io.write('kept') io.stderr:write('before\\n') {loop} print('after')")
    screen.keep_on_ctrl_c()
    screen.wait_text("before")
    screen.send("\x03")
    assert screen.wait_end() == -signal.SIGINT
    assert "kept" in screen.text() and "after" not in screen.text()


def test_ctrl_c_ends_a_script_whose_daemon_does_not_answer(lua, ravd, terminal):
    screen = terminal("print('before') io.flush() while true do rv.get('.') end")
    screen.wait_text("before")
    os.kill(ravd.pid, signal.SIGSTOP)
    try:
        screen.send("\x03")
        assert screen.wait_end() == -signal.SIGINT
    finally:
        os.kill(ravd.pid, signal.SIGCONT)


def test_ctrl_c_is_for_the_program_in_the_foreground(terminal):
    screen = terminal("os.execute([[trap 'echo caught' INT; echo ready; read line; echo $line]]) print('goes on')")
    screen.wait_text("ready")
    screen.send("\x03")
    screen.wait_text("caught")
    screen.send("a line\r")
    screen.wait_text("goes on")
    assert screen.wait_end() == 0
    screen = terminal("os.execute('sleep 1000') print('goes on')")
    wait_for_program("sleep", screen.process.pid)
    screen.send("\x03")
    assert screen.wait_end() == -signal.SIGINT and "goes on" not in screen.text()
