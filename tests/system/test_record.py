"""Recording a session of the shell into a script."""

import signal
import subprocess

import pytest
from daemon import RAVC
from screen import PROMPT

VERSION = "cat Device.DeviceInfo.SoftwareVersion"


@pytest.fixture
def script(tmp_path):
    """Where sessions are recorded."""
    return tmp_path / "script"


def shown_prompt(shell):
    """The prompt that stands on the last row, without the user's name."""
    return PROMPT.match(shell.rows()[-1] + " ")[0].partition("@")[2]


def record(shell, script):
    shell.enter("pwd")  # not recorded
    shell.enter(f"record {script}")
    assert shown_prompt(shell) == "ravc-record:> "
    shell.enter("cd Device")
    assert shown_prompt(shell) == "ravc-record:Device> "
    assert script.read_text() == ""


@pytest.mark.parametrize("word", ["q", "quit"])
def test_recording_becomes_a_script_and_the_shell_goes_on(shell, script, word):
    record(shell, script)
    shell.enter("up")
    shell.enter(word)
    assert shown_prompt(shell) == "ravc:> "
    assert script.read_text() == "cd Device\nup\n"
    assert script.stat().st_mode & 0o777 == 0o600
    shell.send(f"{word}\r")
    assert shell.wait_end() == 0
    assert script.read_text() == "cd Device\nup\n"


def test_recording_is_given_up(shell, script):
    record(shell, script)
    assert "record: already recording.\r\n" in shell.enter(f"record {script}2")
    shell.enter("record abort")
    assert shown_prompt(shell) == "ravc:Device> "
    assert "record: no record found.\r\n" in shell.enter("record abort")
    shell.send("q\r")
    assert shell.wait_end() == 0
    assert script.read_text() == ""


@pytest.mark.parametrize("leave", ["ctrl-d", "SIGTERM", "SIGHUP", "daemon"])
def test_recording_is_written_whichever_way_the_shell_is_left(ravd, shell, script, leave):
    record(shell, script)
    if leave == "ctrl-d":
        shell.send("\x04")
    elif leave == "daemon":
        ravd.process.kill()
    else:
        shell.process.send_signal(signal.Signals[leave])
    shell.wait_end()
    assert script.read_text() == "cd Device\n"


def test_what_begins_with_a_blank_counts_and_is_not_there(shell, script):
    """It counts as a line, and is not in the history that the lines are taken from: one from before comes instead."""
    record(shell, script)
    shell.enter(" pwd")
    shell.enter("q")
    assert script.read_text() == f"record {script}\ncd Device\n"


def test_recorded_script_runs(ravd, shell, script):
    shell.enter(f"record {script}")
    shell.enter(VERSION)
    shell.enter("q")
    result = subprocess.run([RAVC, "-u", ravd.socket, "-s", script], capture_output=True, text=True, timeout=60,
                            check=False)
    assert (result.returncode, result.stdout) == (0, " = '0.2.1'\n")
