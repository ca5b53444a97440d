"""The interactive shell as a person sees it: start, lines, history, ways out."""

import os
import signal
import subprocess

import pytest
from daemon import BUILD
from middleman import result

VERSION = "cat Device.DeviceInfo.SoftwareVersion"
GREETING = ["Corvane Management System client.", "***", "WARNING - for experts only!",
            "This tool is not intended to use by users 'cause it can cause harm to the device!", "***",
            "Interactive mode.", "Enter 'help' or '?' for help, 'q' for exit."]


def entries(tmp):
    """The lines of the history file."""
    return tmp.history.read_text().splitlines()


def piped(tmp, socket, text, **settings):
    """A shell whose standard input is a pipe."""
    command = [*tmp.prefix, BUILD.resolve() / "bin" / "ravc", "-u", socket]
    return subprocess.run(command, input=text, capture_output=True, text=True, timeout=60, check=False, **settings)


# --- start and end


def test_greeting_stands_above_the_first_prompt(ravd, open_shell):
    shell = open_shell(ravd.socket, columns=100).wait_line("")
    rows = shell.rows()
    assert rows[:7] == GREETING and len(rows) == 8
    assert b"Interactive mode. \r\n" in shell.output


def test_no_tree_is_no_shell(middleman, open_shell):
    middleman.handlers["GetParameterAttributes"] = lambda link, request: link.close()
    shell = open_shell(middleman.socket, columns=100)
    assert shell.wait_end() == 255
    assert shell.rows() == [*GREETING, "Error connecting to RAVD server"]


@pytest.mark.parametrize("keys", ["q\r", "quit\r", "\x04"])
def test_leaving(shell, keys):
    shell.send(keys)
    assert shell.wait_end() == 0


def test_end_of_a_line_in_progress_is_not_left_by_ctrl_d(shell):
    shell.send("ls\x04")
    shell.wait_line("ls")
    shell.send("\r")
    shell.wait_text("Device.")
    shell.wait_line("")


def test_a_dead_daemon_ends_the_shell(ravd, shell, shell_tmp):
    shell.send(f"{VERSION}\r")
    shell.wait_text("'0.2.1'")
    shell.wait_line("").send("half a li")
    shell.wait_line("half a li")
    ravd.process.kill()
    assert shell.wait_end() == 0
    assert shell.rows()[-1] == "Connection dropped"
    assert "half a li" not in shell.text()
    assert entries(shell_tmp) == [VERSION]


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP])
def test_signals_end_the_shell_in_good_order(shell, shell_tmp, number):
    shell.send(f"{VERSION}\r")
    shell.wait_text("'0.2.1'")
    shell.wait_line("").send("half")
    shell.wait_line("half")
    shell.process.send_signal(number)
    assert shell.wait_end() == 128 + number
    assert entries(shell_tmp) == [VERSION]


def test_a_signal_ends_a_shell_whose_daemon_stalls(middleman, open_shell, shell_tmp):
    shell = open_shell(middleman.socket, ASAN_OPTIONS="detect_leaks=0").wait_line("")  # an abandoned command leaks
    middleman.stall("GetParameterValues")
    shell.send(f"{VERSION} {VERSION}\r")
    middleman.wait_request("GetParameterValues", 2)  # the first one is of the log-in
    shell.process.send_signal(signal.SIGTERM)
    assert shell.wait_end() == 128 + signal.SIGTERM
    assert entries(shell_tmp) == [f"{VERSION} {VERSION}"]


def test_a_hang_up_ends_the_shell(shell, shell_tmp):
    shell.send(f"{VERSION}\r")
    shell.wait_text("'0.2.1'")
    shell.wait_line("")
    os.close(shell.master)
    assert shell.process.wait(20) == 128 + signal.SIGHUP
    shell.master = os.open("/dev/null", os.O_RDONLY)
    assert entries(shell_tmp) == [VERSION]


def test_a_hang_up_ends_a_shell_that_ignores_the_signal(ravd, open_shell, shell_tmp):
    shell_tmp.prefix += ["sh", "-c", "trap '' HUP; exec \"$@\"", "sh"]
    shell = open_shell(ravd.socket).wait_line("")
    os.close(shell.master)
    assert shell.process.wait(20) == 0
    shell.master = os.open("/dev/null", os.O_RDONLY)


# --- lines


def test_lines_are_split_and_run(shell):
    shell.send("ls 'Device.Time.' # a comment\r")
    shell.wait_text("Device.Time.Enable")
    shell.wait_line("").send("nosuch 1 2\r")
    shell.wait_text("nosuch: command not found.")
    shell.wait_line("")


def test_only_the_exact_words_leave(shell):
    shell.send("q \r")
    shell.wait_text("q: command not found.")
    shell.wait_line("").send("Quit\r")
    shell.wait_text("Quit: command not found.")
    shell.wait_line("")


def test_a_line_without_words_is_a_command_without_a_name(shell):
    for line in ("   ", "# a comment"):
        assert "(null): command not found.\r\n" in shell.enter(line)


def test_an_empty_line_is_ignored(shell, shell_tmp):
    before = len(shell.rows())
    shell.send("\r")
    shell.wait(lambda: len(shell.rows()) == before + 1, "a second prompt")
    shell.wait_line("").send("\x04")
    assert shell.wait_end() == 0
    assert entries(shell_tmp) == []


def test_a_prompt_begins_a_row(middleman, open_shell):
    """Behind a message without a line feed, and behind keys that were echoed while a command ran."""
    shell = open_shell(middleman.socket).wait_line("")
    shell.send("cd 1 2\r")
    shell.wait_text("syntax: cd [<path>]")
    held = middleman.stall("GetParameterValues")
    shell.wait_line("").send(f"{VERSION}\r")
    middleman.wait_request("GetParameterValues", 2)  # the first one is of the log-in
    shell.send("ahead")
    shell.wait(lambda: shell.rows()[-1] == "ahead", "what is typed ahead to be echoed")
    link, request = held[0]
    link.send(result(request, {"ParameterList": []}))
    shell.wait_line("ahead")
    assert shell.rows()[-2] == "ahead"


def test_lua_is_told_by_four_characters(shell):
    shell.send("Lua print(1)\r")
    shell.wait_text("Lua: command not found.")
    shell.wait_line("").send("luaprint(1)\r")
    shell.wait_text("luaprint(1): command not found.")
    shell.wait_line("")


# --- history


def test_what_begins_with_a_blank_runs_but_is_not_remembered(shell, shell_tmp):
    shell.send("  cat Device.DeviceInfo.SoftwareVersion\r")
    shell.wait_text("'0.2.1'")
    shell.wait_line("").send("cd Device\r")
    shell.wait(lambda: "Device>" in shell.rows()[-1], "the prompt of Device")
    shell.wait_line("").send("q\r")
    assert shell.wait_end() == 0
    assert entries(shell_tmp) == ["cd Device"]
    assert shell_tmp.history.stat().st_mode & 0o777 == 0o600


def test_history_outlives_the_session(ravd, open_shell, shell_tmp):
    first = open_shell(ravd.socket).wait_line("")
    first.send(f"{VERSION}\rq\r")
    assert first.wait_end() == 0
    second = open_shell(ravd.socket).wait_line("")
    second.send("\x1b[A")
    second.wait_line(VERSION).send("\r")
    second.wait_text("'0.2.1'")
    second.wait_line("").send("q\r")
    assert second.wait_end() == 0
    assert entries(shell_tmp) == [VERSION, VERSION]


# --- standard input that is no terminal


def test_lines_from_a_pipe(ravd, shell_tmp):
    done = piped(shell_tmp, ravd.socket, f"{VERSION}\nnosuch\n{VERSION}\nq\nnever\n")
    assert done.stdout.splitlines()[7:] == [" = '0.2.1'", "nosuch: command not found.", " = '0.2.1'"]
    assert (done.returncode, done.stderr) == (0, "")


def test_words_that_are_not_utf8_are_left_out(ravd, shell_tmp):
    done = piped(shell_tmp, ravd.socket, "ls \udcff\n", errors="surrogateescape")
    assert done.stdout.splitlines()[7:] == ["Device."]
    assert done.returncode == 0


def test_the_last_line_needs_no_line_feed(ravd, shell_tmp):
    done = piped(shell_tmp, ravd.socket, VERSION)
    assert done.stdout.splitlines()[7:] == [" = '0.2.1'"]
    assert done.returncode == 0


def test_output_to_a_pipe_comes_line_by_line(ravd, shell_tmp):
    command = [*shell_tmp.prefix, BUILD.resolve() / "bin" / "ravc", "-u", ravd.socket]
    with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as process:
        for _ in range(7):
            process.stdout.readline()
        process.stdin.write(f"{VERSION}\n")
        process.stdin.flush()
        assert process.stdout.readline() == " = '0.2.1'\n"
        process.stdin.close()
        assert process.wait(20) == 0
