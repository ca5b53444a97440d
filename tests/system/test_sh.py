"""Programs run by sh: what they are given, and whose Ctrl-C is."""

import os
import re
import signal
import subprocess

import pytest
from daemon import RAVC
from processes import children, wait_for_program

pytestmark = pytest.mark.usefixtures("home")


def signals(text):
    """The masks of a process, by their names in /proc/PID/status."""
    return {name: int(mask, 16) for name, mask in re.findall(r"(Sig\w+):\s+([0-9a-f]{16})", text)}


def test_children_get_three_descriptors_and_every_signal(shell):
    text = shell.enter("sh grep Sig /proc/self/status; ls /proc/self/fd")
    masks = signals(text)
    assert masks["SigBlk"] == 0
    assert masks["SigIgn"] & (1 << signal.SIGINT - 1) == 0
    assert text.split("\r\n")[-2].split() == ["0", "1", "2", "3"]  # the last one is of ls itself


def test_children_of_one_shot_requests_and_scripts(ravc):
    assert ravc("-r", "sh", "ls", "/proc/self/fd").stdout.split() == ["0", "1", "2", "3"]
    assert ravc("-s", input="sh ls /proc/self/fd\n").stdout.split() == ["0", "1", "2", "3"]
    assert signals(ravc("-r", "sh", "grep", "Sig", "/proc/self/status").stdout)["SigBlk"] == 0


def test_what_was_printed_before_comes_first(ravc):
    assert ravc("-s", input="echo one\nsh echo two\necho three\n").stdout == "one\ntwo\nthree\n"


def test_ctrl_c_ends_the_child_and_not_the_shell(shell):
    for _ in range(5):
        shell.send("sh sleep 1000\r")
        wait_for_program("sleep", shell.process.pid)
        shell.send("\x03")
        shell.wait_line("")
    assert not children(shell.process.pid)
    assert "ok" in shell.enter("sh echo o''k")


def test_an_inner_shell_is_interactive(shell):
    shell.send("sh\r")
    shell.wait(lambda: not shell.takes_keys(), "the inner shell")
    shell.send("echo in''ner\r")
    shell.wait_text("inner")
    shell.send("exit 3\r")
    shell.wait_line("")


def test_the_status_of_the_command_is_not_the_programs(ravc):
    assert ravc("-r", "sh", "exit", "7").returncode == 0
    assert ravc("-r", "sh", "kill", "$$").returncode == 0


def test_debug_hangs_nobody_up_where_it_has_no_parent(accepting):
    """As the first process of a container its parent has the number 0, which would be its whole process group."""
    command = ["unshare", "--pid", "--fork"] if os.getuid() == 0 else ["unshare", "-U", "-r", "--pid", "--fork"]
    if subprocess.run([*command, "true"], capture_output=True, check=False).returncode != 0:
        pytest.skip("no namespaces here")
    result = subprocess.run([*command, RAVC, "-u", accepting.destination, "-r", "debug", "disabled"],
                            capture_output=True, text=True, timeout=60, check=False, start_new_session=True)
    assert (result.returncode, result.stdout) == (
        0, "Status: OK\nYou must log out and log back in for the changes to take effect.\n")


def test_debug_hangs_its_parent_up(accepting):
    parent = subprocess.run(["sh", "-c", f"{RAVC} -u {accepting.destination} -r debug disabled; echo still there"],
                            capture_output=True, text=True, timeout=60, check=False)
    assert parent.returncode == -signal.SIGHUP
    assert "still there" not in parent.stdout
    assert accepting.requests[-1] == ("Execute", {"Path": "Device.System.Debug", "ParameterList": [
        {"Name": "Mode", "Value": "Disabled"}, {"Name": "UserPassword", "Value": None}]})
