"""Completion over the whole default model: what is offered is accepted, and what there is is offered."""

import json
import subprocess

import pytest
from daemon import BUILD


class Shell:
    """A shell without a terminal."""

    def __init__(self, socket):
        self.process = subprocess.Popen([BUILD / "tests" / "shell_driver", socket], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)

    def run(self, line):
        """What the line prints, and its result."""
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()
        text = ""
        for answer in self.process.stdout:
            if answer.startswith("== "):
                return text, int(answer[3:])
            text += answer
        raise AssertionError(f"the shell has ended at {line}")

    def complete(self, line):
        return json.loads(self.run(f"!complete {line}")[0])

    def hint(self, line):
        return self.run(f"!hint {line}")[0].rstrip("\n")

    def close(self):
        self.process.stdin.close()
        return self.process.wait(timeout=20)


@pytest.fixture
def shell(ravd):
    made = Shell(ravd.socket)
    yield made
    assert made.close() == 0


PSEUDO = {"max_instance", "order"}


def children(client, path):
    """The names below path as the daemon tells them."""
    listed = client.result("GetParameterNames", {"ParameterPath": path or ".", "NextLevel": True})["ParameterList"]
    return {entry["Name"][len(path):] for entry in listed}


# The machine's processes and neighbours: others at every look.
VOLATILE = {"Device.DeviceInfo.ProcessStatus.Process.", "Device.Hosts.Host."}


def walk(shell, path=""):
    """All object paths that completion leads to from path, closed with "."."""
    yield path
    for name in shell.complete(f"ls :{path}"):
        if name.endswith(".") and path + name.removeprefix(":") not in VOLATILE:
            yield from walk(shell, path + name.removeprefix(":"))


def test_what_there_is_is_offered(shell, connect):
    client = connect()
    visited = 0
    for path in walk(shell):
        offered = {name.removeprefix(":") for name in shell.complete(f"cat :{path}")}
        assert offered - PSEUDO == children(client, path) - PSEUDO - {"DataModelVersion"}, path
        for name in offered:
            typed = name.rstrip(".")[:len(name) // 2 + 1]
            narrowed = {other.removeprefix(":") for other in shell.complete(f"cat :{path}{typed.lower()}")}
            assert narrowed == {other for other in offered if other.lower().startswith(typed.lower())}
        visited += 1
    assert visited > 30


def test_what_is_offered_is_accepted(shell):
    parameters = 0
    for path in walk(shell):
        assert shell.run(f"cd :{path}") == ("", 0)
        for name in shell.complete("cat "):
            assert shell.run(f"cd {name}")[1] == 0, path + name
            assert shell.run(f"cd :{path}")[1] == 0
            parameters += not name.endswith(".")
    assert parameters > 100


def test_values_that_are_offered_are_accepted(shell):
    values = 0
    for path in walk(shell):
        for name in shell.complete(f"set :{path}"):
            if name.endswith("."):
                continue
            for value in shell.complete(f"set :{path}{name}="):
                if value.endswith("."):
                    continue
                text, result = shell.run(f'set :{path}{name}="{value}"')
                assert result == 0 and "invalid" not in text, (path, name, value)
                values += 1
    assert values > 10


def test_a_hint_is_what_the_one_candidate_adds(shell):
    assert shell.hint("ls Device.DeviceInfo.Hos") == "tName"
    assert shell.hint("set Device.DeviceInfo.DeviceMode=B") == "ridge"
    assert shell.complete("reboot -f ") == ["Bridge", "Router"]
    assert shell.hint("reset B") == "ridge"


def test_instances_that_come_and_go(shell):
    servers = "Device.DNS.Client.Server."
    before = shell.complete(f"ls {servers}")
    text, number = shell.run(f"add {servers}")
    assert number > 0, text
    shell.run("!event " + json.dumps({"Action": "Add", "Path": servers, "InstanceNumber": number}))
    assert shell.complete(f"ls {servers}") == sorted([*before, f"{number}."])
    assert "Enable" in shell.complete(f"ls {servers}{number}.")
    shell.run("!event " + json.dumps({"Action": "Delete", "Path": f"{servers}{number}.", "InstanceNumber": number}))
    assert shell.complete(f"ls {servers}") == before
