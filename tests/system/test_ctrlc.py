"""Ctrl-C wherever it may fall: the shell lives, the terminal is sane, the next command is right."""

import json
import os
import random

import pytest
from middleman import result

ROUNDS = int(os.environ.get("RAV_CTRLC", "300"))
VERSION = "cat Device.DeviceInfo.SoftwareVersion"
pytestmark = pytest.mark.usefixtures("abandoned_commands_leak")


def answers(shell):
    """That a command typed now is run, and answered rightly."""
    shell.forget()
    shell.send(f"{VERSION}\r")
    shell.wait(lambda: b"'0.2.1'" in shell.output, "the version")
    shell.wait_line("")


def test_at_the_prompt_the_line_is_dropped(shell):
    shell.send("half a line")
    shell.wait_line("half a line").send("\x03")
    shell.wait_line("")
    assert shell.rows()[-2].endswith("> half a line^C")
    answers(shell)


def test_in_the_middle_of_a_line(shell):
    shell.send("half a line")
    shell.wait_line("half a line").send("\x01")
    shell.wait_line("").send("\x03")
    shell.wait(lambda: shell.rows()[-2].endswith("> half a line^C"), "^C behind the whole line")
    shell.wait_line("")
    answers(shell)


def test_an_empty_line(shell):
    for count in range(1, 6):
        shell.send("\x03")
        shell.wait(lambda count=count: shell.text().count("^C") == count, f"{count} times ^C")
        shell.wait_line("")
    answers(shell)


@pytest.mark.parametrize("command, method", [
    (VERSION, "GetParameterValues"), ("ls -l Device.", "GetParameterAttributes"),
    ("set Device.Time.Enable=true", "SetParameterValues"), ("add Device.Users.User", "AddObject")])
def test_a_stalled_request_is_abandoned(middleman, open_shell, command, method):
    shell = open_shell(middleman.socket).wait_line("")
    shell.send("ls Device.\rls Device.Time.\rls Device.Users.\r")
    shell.wait_text("Device.Users.User.")
    shell.wait_line("")
    before = len(middleman.requests(method))
    held = middleman.stall(method)
    shell.send(f"{command}\r")
    middleman.wait_request(method, before + 1)
    shell.send("\x03")
    shell.wait_line("")
    del middleman.handlers[method]
    link, request = held[0]
    link.send(result(request, {"ParameterList": [{"Name": "wrong", "Value": "late"}], "InstanceNumber": 99}))
    answers(shell)
    assert "late" not in shell.text() and "99" not in shell.text()


def test_two_at_once_are_one(middleman, open_shell):
    shell = open_shell(middleman.socket).wait_line("")
    middleman.stall("GetParameterValues")
    shell.send(f"{VERSION}\r")
    middleman.wait_request("GetParameterValues", 2)  # the first one is of the log-in
    shell.send("\x03\x03")
    shell.wait_line("")
    del middleman.handlers["GetParameterValues"]
    answers(shell)


def test_completion_that_waits_ends_too(middleman, open_shell):
    shell = open_shell(middleman.socket).wait_line("")
    middleman.stall("GetParameterAttributes")
    before = len(middleman.requests("GetParameterAttributes"))
    shell.send("ls Device.")
    middleman.wait_request("GetParameterAttributes", before + 1)
    shell.send("\x03")
    shell.wait_text("^C")
    shell.wait_line("")
    del middleman.handlers["GetParameterAttributes"]
    answers(shell)


def test_at_the_password_prompt(shell):
    for count in range(1, 31):
        shell.send("login nobody\r")
        shell.wait(shell.hides_keys, "a password to be asked for")
        shell.send(f"secret{count}\x03")
        shell.wait_line("")
        assert b"secret" not in shell.output
    answers(shell)


def workloads(middleman):
    """Commands that wait, print much, fetch levels, one that is never answered, and one with a reply that takes long
    to read."""
    middleman.stall("AddObject")
    reply = json.dumps({"ParameterList": [{"Name": "x", "Value": list(range(50_000))}]})

    def answer(link, request):
        link.send(f'{{"jsonrpc": "2.0", "id": {request["id"]}, "result": {reply}}}\n'.encode())

    middleman.handlers["GetConfig"] = answer
    return ["ls -l Device.IP.", "cat Device.", "catree", "catree", "add Device.Users.User", "cd Device.IP.Interface",
            "cd", "attr Device.Time.Enable", "ls Device.Routing.Router.*."]


def test_at_random_moments(middleman, open_shell):
    chance = random.Random(20)
    shell = open_shell(middleman.socket).wait_line("")
    commands = workloads(middleman)
    for count in range(ROUNDS):
        command = chance.choice(commands)
        shell.send(f"{command}\r")
        shell.read(chance.uniform(0, 0.03))
        # The terminal throws away what was typed before Ctrl-C; a blank behind it may be read before it is noticed.
        shell.send(f"\x03  none{count}\r")
        shell.wait_output(f"none{count}: command not found.")
        shell.wait_line("")
        shell.forget()
    assert shell.process.poll() is None
    shell.send("cd\r")
    shell.wait_line("")
    answers(shell)
    shell.send("q\r")
    assert shell.wait_end() == 0
