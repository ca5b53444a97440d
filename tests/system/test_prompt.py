"""The shell's prompt and colours, logging in and recording in it, at a terminal."""

import os
import pwd
import re
import subprocess
import termios

import pytest
from daemon import BUILD, RAVC, wait_for
from memory import is_in_memory

ME = pwd.getpwuid(os.getuid()).pw_name
SYSTEM_ACCESS = "Device.Users.SystemAccess"


def colour(red, green, blue):
    return f"\033[38;2;{red};{green};{blue}m"


PROMPT, ROOT_PROMPT = colour(56, 122, 255), colour(255, 0, 0)  # as the scheme has them at the start


@pytest.fixture
def shell(accepting, open_shell):
    """A shell with colours at its first prompt, with a daemon that lets everybody in."""
    shell = open_shell(accepting.destination, COLORTERM="truecolor").wait_line("")
    shell.forget()
    return shell


def enter(shell, line):
    """Enters a line, and waits for the prompt after it; gives what was written meanwhile."""
    shell.forget()
    shell.send(line + "\r")
    shell.wait_output("\033[?2004l")
    shell.wait(lambda: shell.takes_keys() and shell.line() == "", "the next prompt")
    return shell.output.decode()


def shown_prompt(output):
    """The last prompt in what was written: (its colour, its text)."""
    return re.findall(r"(\033\[38;2;[0-9;]*m)?([^\s\033]*ravc[^\s\033]*> )", output)[-1]


def has_echo(shell):
    return bool(termios.tcgetattr(shell.master)[3] & termios.ECHO)


def ask_for_a_password(shell):
    shell.forget()
    shell.send("login joe\r")
    shell.wait_output("[ravc] password for joe: ")
    wait_for(lambda: not has_echo(shell), "echo to be off")


# --- the prompt


def test_local_user_is_logged_in_at_the_start(shell, accepting):
    assert shell.before_cursor() == f"{ME}@ravc:> "
    assert ("Login", {"User": ME}) in accepting.requests


def test_prompt_follows_who_is_logged_in(shell):
    assert shown_prompt(enter(shell, "login ann -p pw")) == (PROMPT, "ann@ravc:> ")
    assert shown_prompt(enter(shell, "logout")) == (PROMPT, "ravc:> ")
    assert shown_prompt(enter(shell, "login_if_guest joe pw")) == (PROMPT, "joe@ravc:> ")


def test_prompt_has_the_colour_of_the_rights(shell, accepting):
    accepting.values[SYSTEM_ACCESS] = True
    assert shown_prompt(enter(shell, "login admin -p pw")) == (ROOT_PROMPT, "admin@ravc:> ")
    accepting.values[SYSTEM_ACCESS] = "true"  # a text is no truth
    assert shown_prompt(enter(shell, "login ann -p pw")) == (PROMPT, "ann@ravc:> ")
    accepting.values[SYSTEM_ACCESS] = True
    enter(shell, "login admin -p pw")
    assert shown_prompt(enter(shell, "logout")) == (PROMPT, "ravc:> ")


def test_prompt_takes_the_colour_that_is_set(shell):
    output = enter(shell, "color prompt 240 100 100")
    assert colour(0, 0, 255) + "240 100 100\r\n\033[0m" in output
    assert shown_prompt(output)[0] == colour(0, 0, 255)
    assert shown_prompt(enter(shell, "color root-prompt 120 100 100"))[0] == colour(0, 0, 255)


def test_prompt_follows_the_current_path(ravd, open_shell):
    shell = open_shell(ravd.socket, COLORTERM="truecolor").wait_line("")
    user = shown_prompt(shell.output.decode())[1].removesuffix("ravc:> ")
    assert shown_prompt(enter(shell, "cd Device.DeviceInfo"))[1] == f"{user}ravc:Device.DeviceInfo> "
    assert ":Device.DeviceInfo\r\n" in enter(shell, "pwd")
    assert shown_prompt(enter(shell, "up"))[1] == f"{user}ravc:Device> "
    assert shown_prompt(enter(shell, "cd"))[1] == f"{user}ravc:> "


def test_token_shows_whose_it_is(shell, accepting):
    accepting.values["Device.Users.CurrentUser"] = "ann\033]0;title\a"
    accepting.refused = {"Login"}
    assert shown_prompt(enter(shell, "login_if_guest x"))[1] == f"{ME}@ravc:> "
    enter(shell, "logout")
    assert shown_prompt(enter(shell, "login_if_guest token"))[1] == "ann]0;title@ravc:> "
    assert accepting.requests[-1][0] == "GetParameterValues" and set(accepting.levels) == {"."}
    enter(shell, "logout")
    assert accepting.requests[-1] == ("SetAuth", {"Token": ""})


def test_help_shows_usages_in_their_colour(shell):
    output = enter(shell, "help")
    assert f"{colour(140, 117, 0)}add <path> " in output
    assert re.search(r"pwd *\033\[0m - print current path\r\n", output)
    assert enter(shell, "?").count("\033[0m - ") == output.count("\033[0m - ") == 36


def test_clear(shell):
    enter(shell, "pwd")
    assert "\033[2J\033[H" in enter(shell, "clear")
    assert shell.rows() == [f"{ME}@ravc:>"]


def test_nothing_is_coloured_when_standard_output_is_no_terminal(accepting, shell_tmp):
    command = [*shell_tmp.prefix, BUILD.resolve() / "bin" / "ravc", "-u", accepting.destination]
    result = subprocess.run(command, input="help\ncolor hint\npwd\n", capture_output=True, text=True, timeout=60,
                            check=False, env={**os.environ, "COLORTERM": "truecolor"})
    assert result.returncode == 0
    assert "120 100 55\n" in result.stdout and "\033" not in result.stdout


# --- passwords


def test_password_is_asked_for_and_the_shell_goes_on(shell, accepting, shell_tmp):
    ask_for_a_password(shell)
    shell.send("kanarienvogel\r")
    shell.wait(lambda: shell.takes_keys() and shell.line() == "", "the next prompt")
    assert shell.before_cursor() == "joe@ravc:> "
    assert b"kanarienvogel" not in shell.output
    assert ("Login", {"User": "joe", "Password": "kanarienvogel"}) in accepting.requests
    shell.send("pwd\rq\r")
    assert shell.wait_end() == 0
    assert has_echo(shell)
    assert shell_tmp.history.read_text() == "login joe\npwd\n"


def test_password_is_nowhere_in_memory_after_a_log_out(shell):
    ask_for_a_password(shell)
    shell.send("kanarienvogel\r")
    shell.wait(lambda: shell.takes_keys() and shell.line() == "", "the next prompt")
    assert is_in_memory(shell.process.pid, "kanarienvogel")
    enter(shell, "logout")
    assert not is_in_memory(shell.process.pid, "kanarienvogel")


def test_ctrl_c_at_the_password_prompt_goes_back_to_the_shell(shell, accepting):
    for _ in range(3):
        before = accepting.methods().count("Login")
        ask_for_a_password(shell)
        shell.send("half\x03")
        shell.wait(lambda: shell.takes_keys() and shell.line() == "", "the next prompt")
        assert accepting.methods().count("Login") == before
    assert ":\r\n" in enter(shell, "pwd")
    shell.send("q\r")
    assert shell.wait_end() == 0
    assert has_echo(shell)


def test_abandoned_log_in_leaves_no_rights_of_the_user_before(shell, accepting):
    accepting.values[SYSTEM_ACCESS] = True
    assert shown_prompt(enter(shell, "login admin -p pw"))[0] == ROOT_PROMPT
    accepting.unanswered = {"GetParameterValues"}
    accepting.requests.clear()
    shell.forget()
    shell.send("login joe -p pw\r")
    wait_for(lambda: accepting.methods() == ["Login", "GetParameterValues"], "the question for rights")
    shell.send("\x03")
    shell.wait_line("")
    assert shown_prompt(shell.output.decode()) == (PROMPT, "joe@ravc:> ")


def test_signal_at_the_password_prompt_ends_the_shell_in_good_order(shell, shell_tmp):
    ask_for_a_password(shell)
    shell.process.terminate()
    assert shell.wait_end() == 128 + 15
    assert has_echo(shell)
    assert shell_tmp.history.read_text() == "login joe\n"


def test_end_of_input_at_the_password_prompt(shell, accepting):
    ask_for_a_password(shell)
    shell.send("\x04")
    shell.wait(lambda: shell.takes_keys() and shell.line() == "", "the next prompt")
    assert ("Login", {"User": "joe", "Password": ""}) in accepting.requests


# --- recordings


def test_recording_becomes_a_script(shell, tmp_path):
    script = tmp_path / "script"
    enter(shell, "pwd")
    assert shown_prompt(enter(shell, f"record {script}"))[1] == f"{ME}@ravc-record:> "
    enter(shell, "pwd")
    enter(shell, "cat Device.")
    assert script.read_text() == ""
    assert shown_prompt(enter(shell, "q"))[1] == f"{ME}@ravc:> "
    assert script.read_text() == "pwd\ncat Device.\n"
    assert script.stat().st_mode & 0o777 == 0o600
    shell.send("q\r")
    assert shell.wait_end() == 0


def test_recording_is_given_up(shell, tmp_path):
    script = tmp_path / "script"
    enter(shell, f"record {script}")
    assert "record: already recording.\r\n" in enter(shell, f"record {script}2")
    enter(shell, "pwd")
    assert shown_prompt(enter(shell, "record abort"))[1] == f"{ME}@ravc:> "
    assert "record: no record found.\r\n" in enter(shell, "record abort")
    shell.send("q\r")
    assert shell.wait_end() == 0
    assert script.read_text() == ""


@pytest.mark.parametrize("leave", ["\x04", "hang-up"])
def test_recording_is_written_whichever_way_the_shell_is_left(shell, tmp_path, leave):
    script = tmp_path / "script"
    enter(shell, f"record {script}")
    enter(shell, "pwd")
    if leave == "hang-up":
        shell.process.send_signal(1)
    else:
        shell.send(leave)
    shell.wait_end()
    assert script.read_text() == "pwd\n"


def test_recorded_script_runs(ravd, open_shell, tmp_path):
    script = tmp_path / "script"
    shell = open_shell(ravd.socket).wait_line("")
    enter(shell, f"record {script}")
    enter(shell, "cat Device.DeviceInfo.SoftwareVersion")
    shell.send("q\rq\r")
    assert shell.wait_end() == 0
    result = subprocess.run([RAVC, "-u", ravd.socket, "-s", script], capture_output=True, text=True, timeout=60,
                            check=False)
    assert (result.returncode, result.stdout) == (0, " = '0.2.1'\n")
