"""The commands lua and luarecord, from the shell, from scripts and by method; and what arrives meanwhile."""

import signal
import subprocess

import pytest
from daemon import RAVC
from lua_shell import code_of, enter_lines, lua_prompt, plain
from middleman import event


def run(ravd, *arguments, prefix=(), **settings):
    return subprocess.run([*prefix, RAVC.resolve(), "-u", ravd.socket, *arguments], capture_output=True, text=True,
                          timeout=60, check=False, **settings)


def test_a_statement_is_shown_and_run(shell):
    assert plain(shell.enter("lua print(1, 2)")) == "print(1, 2) \n1\t2\n"


def test_what_follows_is_taken_as_it_stands(shell):
    assert plain(shell.enter("lua print('a  \"b', #'c') -- d")) == "print('a  \"b', #'c') -- d \na  \"b\t1\n"


def test_words_are_joined_by_method(ravd):
    result = run(ravd, "-r", "lua", "print(1", ",", "2)")
    assert (result.returncode, result.stdout) == (0, "print(1 , 2) \n1\t2\n")


def test_output_may_hold_zero_bytes(ravd):
    assert run(ravd, "-r", "lua", "print('a\\0b')").stdout.endswith("\na\0b\n")


def test_an_expression_is_no_statement(shell):
    assert plain(shell.enter("lua 1+1")).startswith('1+1 \nLUA ERROR: [string "1+1 "]:1: ')


def test_an_error_is_told_and_is_no_failure(ravd):
    result = run(ravd, "-r", "lua", "print('lost') error('boom')")
    assert (result.returncode, result.stdout) == (
        0, "print('lost') error('boom') \nLUA ERROR: [string \"print('lost') error('boom') \"]:1: boom\n")


def test_a_script_goes_on_after_an_error(ravd, tmp_path):
    script = tmp_path / "script"
    script.write_text("lua error(0)\nlua print(5)\n")
    assert run(ravd, "-s", script).stdout == "error(0) \nLUA ERROR: 0\nprint(5) \n5\n"


def test_nothing_is_preloaded_or_kept(shell):
    assert plain(shell.enter("lua print(_) x = 1")).endswith("\nnil\n")
    assert plain(shell.enter("lua print(x)")).endswith("\nnil\n")


def test_a_statement_ends_the_program(shell, shell_tmp):
    shell.send("lua print('last') os.exit(7)\r")
    assert shell.wait_end() == 7
    assert b"last\r\n" in shell.output
    assert shell_tmp.history.read_text() == "lua print('last') os.exit(7)\n"


def test_ctrl_c_ends_what_runs_one_statement(ravd):
    process = subprocess.Popen([RAVC, "-u", ravd.socket, "-r", "lua", "io.stderr:write('begun') while true do end"],
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    assert process.stderr.read(5) == b"begun"
    process.send_signal(signal.SIGINT)
    assert process.wait(20) == -signal.SIGINT
    process.communicate()


def test_the_mode_without_a_terminal(ravd, shell_tmp):
    result = run(ravd, "-r", "lua", prefix=shell_tmp.prefix, input="x = 1\nx\nfor i = 1, 2 do\nprint(i) end\nx = = 1\n")
    assert (result.returncode, code_of(result.stdout)) == (0, "_[1] = 1\n1\n2\n")
    assert "unexpected symbol near '='" in result.stderr
    assert (shell_tmp.folder / ".ravc.lua.hist").read_bytes() == b"x = 1\nx\nfor i = 1, 2 do\rprint(i) end\nx = = 1\n"
    assert not shell_tmp.history.exists()


def test_what_a_statement_reads_is_a_line_and_not_all(ravd, shell_tmp):
    lines = "x = io.read()\none\nprint(x, io.read(2))\ntwo = 2\nprint(o)\n"
    assert code_of(run(ravd, "-r", "lua", prefix=shell_tmp.prefix, input=lines).stdout) == "one\ttw\n2\n"
    shell = run(ravd, prefix=shell_tmp.prefix, input="lua print(io.read())\none\nlua\ny = io.read()\ntwo\ny\n")
    assert "one\n" in shell.stdout and '_[1] = "two"' in code_of(shell.stdout)
    script = run(ravd, "-s", input="lua print(io.read())\none\nlua print('two')\n")
    assert script.stdout.endswith("\none\nprint('two') \ntwo\n")


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP])
def test_signals_end_the_mode_alone(ravd, shell_tmp, number):
    process = subprocess.Popen([*shell_tmp.prefix, RAVC.resolve(), "-u", ravd.socket, "-r", "lua"],
                               stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    process.stdin.write(b"x = 1\nprint('begun')\n")
    process.stdin.flush()
    assert process.stdout.read(6) == b"begun\n"
    process.send_signal(number)
    assert process.wait(20) == -number
    process.communicate()
    assert (shell_tmp.folder / ".ravc.lua.hist").read_bytes().startswith(b"x = 1\n")


def test_statements_are_recorded(ravd, shell, tmp_path):
    script = tmp_path / "script"
    shell.enter("lua")
    shell.enter("before = 1")
    shell.enter("q")
    shell.enter(f"luarecord {script}")
    assert lua_prompt(shell) == "ravc-lua:> "
    shell.enter("print('first')")
    shell.enter(" blank = 1")
    enter_lines(shell, "for i = 1, 2 do", "print(i)", "end")
    assert script.read_bytes() == b""
    shell.enter("q")
    assert lua_prompt(shell) == "ravc:> "
    assert script.read_bytes() == b"print('first')\nfor i = 1, 2 do\rprint(i)\rend\n"
    assert run(ravd, "-S", script).stdout == "first\n1\n2\n"
    shell.enter("pwd")
    shell.send("q\r")
    assert shell.wait_end() == 0


def test_a_recording_without_statements(shell, tmp_path):
    script = tmp_path / "script"
    shell.enter(f"luarecord {script}")
    shell.enter("q")
    assert script.read_bytes() == b""


@pytest.mark.parametrize("end", ["SIGTERM", "os.exit()", "ctrl-d"])
def test_a_recording_is_written_whichever_way_the_mode_ends(shell, tmp_path, end):
    script = tmp_path / "script"
    shell.enter(f"luarecord {script}")
    shell.enter("x = 1")
    if end == "SIGTERM":
        shell.process.send_signal(signal.SIGTERM)
    else:
        shell.send("\x04q\r" if end == "ctrl-d" else f"{end}\r")
    shell.wait_end()
    assert script.read_text() == "x = 1\n" + ("os.exit()\n" if end == "os.exit()" else "")


def test_what_luarecord_refuses(shell, tmp_path):
    assert "syntax: luarecord <filename>|abort\r\n" in shell.enter("luarecord")
    assert "luarecord: no record found.\r\n" in shell.enter("luarecord abort")
    shell.enter(f"record {tmp_path / 'one'}")
    assert "luarecord: already recording.\r\n" in shell.enter(f"luarecord {tmp_path / 'two'}")


def test_giving_a_recording_up_enters_the_mode(shell, tmp_path):
    shell.enter(f"record {tmp_path / 'one'}")
    shell.enter("luarecord abort")
    assert lua_prompt(shell) == "ravc-lua:> "
    shell.enter("x = 1")
    shell.enter("q")
    assert (tmp_path / "one").read_text() == ""


def test_events_wait_until_the_mode_is_left(middleman, open_shell):
    shell = open_shell(middleman.socket).wait_line("")
    shell.enter("lua")
    shell.send("half")
    shell.wait_line("half")
    middleman.link("events").send(event(16, {"Text": "hello"}))
    shell.send(" typed\x03")
    shell.wait_line("")
    assert plain(shell.enter("1+1")) == "_[1] = 2\n"
    assert "EVENT" not in shell.text()
    shell.send("q\r")
    shell.wait_text("EVENT 16:")
    shell.wait_line("")


def test_the_daemons_end_is_told_when_the_mode_is_left(ravd, shell):
    shell.enter("lua")
    ravd.process.kill()
    ravd.process.wait()
    assert plain(shell.enter("1+1")) == "_[1] = 2\n"
    shell.send("q\r")
    assert shell.wait_end() == 0
    assert b"Connection dropped" in shell.output


def test_a_history_that_somebody_else_may_write_is_not_read(ravd, tmp_path, open_shell, shell_tmp):
    history = shell_tmp.folder / ".ravc.lua.hist"
    history.write_text("os.execute('rm -rf /')\n")
    history.chmod(0o666)
    shell = open_shell(ravd.socket).wait_line("")
    shell.enter("lua")
    shell.send("\x1b[A")
    shell.enter("")
    shell.enter("x = 1")
    shell.enter("q")
    assert history.read_text() == "x = 1\n"
