"""The shell's prompt and colours, and logging in, at a terminal."""

import os
import pwd
import re
import subprocess
import termios

import pytest
from daemon import BUILD, wait_for
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
    assert shown_prompt(shell.enter("login ann -p pw")) == (PROMPT, "ann@ravc:> ")
    assert shown_prompt(shell.enter("logout")) == (PROMPT, "ravc:> ")
    assert shown_prompt(shell.enter("login_if_guest joe pw")) == (PROMPT, "joe@ravc:> ")


def test_prompt_has_the_colour_of_the_rights(shell, accepting):
    accepting.values[SYSTEM_ACCESS] = True
    assert shown_prompt(shell.enter("login admin -p pw")) == (ROOT_PROMPT, "admin@ravc:> ")
    accepting.values[SYSTEM_ACCESS] = "true"  # a text is no truth
    assert shown_prompt(shell.enter("login ann -p pw")) == (PROMPT, "ann@ravc:> ")
    accepting.values[SYSTEM_ACCESS] = True
    shell.enter("login admin -p pw")
    assert shown_prompt(shell.enter("logout")) == (PROMPT, "ravc:> ")


def test_prompt_takes_the_colour_that_is_set(shell):
    output = shell.enter("color prompt 240 100 100")
    assert colour(0, 0, 255) + "240 100 100\r\n\033[0m" in output
    assert shown_prompt(output)[0] == colour(0, 0, 255)
    assert shown_prompt(shell.enter("color root-prompt 120 100 100"))[0] == colour(0, 0, 255)


def test_prompt_follows_the_current_path(ravd, open_shell):
    shell = open_shell(ravd.socket, COLORTERM="truecolor").wait_line("")
    user = shown_prompt(shell.output.decode())[1].removesuffix("ravc:> ")
    assert shown_prompt(shell.enter("cd Device.DeviceInfo"))[1] == f"{user}ravc:Device.DeviceInfo> "
    assert ":Device.DeviceInfo\r\n" in shell.enter("pwd")
    assert shown_prompt(shell.enter("up"))[1] == f"{user}ravc:Device> "
    assert shown_prompt(shell.enter("cd"))[1] == f"{user}ravc:> "


def test_token_shows_whose_it_is(shell, accepting):
    accepting.values["Device.Users.CurrentUser"] = "ann\033]0;title\a"
    accepting.refused = {"Login"}
    assert shown_prompt(shell.enter("login_if_guest x"))[1] == f"{ME}@ravc:> "
    shell.enter("logout")
    assert shown_prompt(shell.enter("login_if_guest token"))[1] == "ann]0;title@ravc:> "
    assert accepting.requests[-1][0] == "GetParameterValues" and set(accepting.levels) == {"."}
    shell.enter("logout")
    assert accepting.requests[-1] == ("SetAuth", {"Token": ""})


def test_help_shows_usages_in_their_colour(shell):
    output = shell.enter("help")
    assert f"{colour(140, 117, 0)}add <path> " in output
    assert re.search(r"pwd *\033\[0m - print current path\r\n", output)
    assert shell.enter("?").count("\033[0m - ") == output.count("\033[0m - ") == 36


def test_clear(shell):
    shell.enter("pwd")
    assert "\033[2J\033[H" in shell.enter("clear")
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
    shell.enter("logout")
    assert not is_in_memory(shell.process.pid, "kanarienvogel")


def test_ctrl_c_at_the_password_prompt_goes_back_to_the_shell(shell, accepting):
    for _ in range(3):
        before = accepting.methods().count("Login")
        ask_for_a_password(shell)
        shell.send("half\x03")
        shell.wait(lambda: shell.takes_keys() and shell.line() == "", "the next prompt")
        assert accepting.methods().count("Login") == before
    assert ":\r\n" in shell.enter("pwd")
    shell.send("q\r")
    assert shell.wait_end() == 0
    assert has_echo(shell)


def test_abandoned_log_in_leaves_no_rights_of_the_user_before(shell, accepting):
    accepting.values[SYSTEM_ACCESS] = True
    assert shown_prompt(shell.enter("login admin -p pw"))[0] == ROOT_PROMPT
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
