"""Completion over the whole default model: what is offered is accepted, and what there is is offered; and at a
terminal."""

import json

import pytest
from driver import Shell


@pytest.fixture
def driver(ravd):
    made = Shell(ravd.socket)
    yield made
    made.close()


PSEUDO = {"max_instance", "order"}


def children(client, path):
    """The names below path as the daemon tells them."""
    listed = client.result("GetParameterNames", {"ParameterPath": path or ".", "NextLevel": True})["ParameterList"]
    return {entry["Name"][len(path):] for entry in listed}


# The machine's processes and neighbours: others at every look.
VOLATILE = {"Device.DeviceInfo.ProcessStatus.Process.", "Device.Hosts.Host."}


def walk(driver, path=""):
    """All object paths that completion leads to from path, closed with "."."""
    yield path
    for name in driver.complete(f"ls :{path}"):
        if name.endswith(".") and path + name.removeprefix(":") not in VOLATILE:
            yield from walk(driver, path + name.removeprefix(":"))


def test_what_there_is_is_offered(driver, connect):
    client = connect()
    visited = 0
    for path in walk(driver):
        offered = {name.removeprefix(":") for name in driver.complete(f"cat :{path}")}
        assert offered - PSEUDO == children(client, path) - PSEUDO - {"DataModelVersion"}, path
        for name in offered:
            typed = name.rstrip(".")[:len(name) // 2 + 1]
            narrowed = {other.removeprefix(":") for other in driver.complete(f"cat :{path}{typed.lower()}")}
            assert narrowed == {other for other in offered if other.lower().startswith(typed.lower())}
        visited += 1
    assert visited > 30


def test_what_is_offered_is_accepted(driver):
    parameters = 0
    for path in walk(driver):
        assert driver.run(f"cd :{path}") == (0, "")
        for name in driver.complete("cat "):
            assert driver.run(f"cd {name}")[0] == 0, path + name
            assert driver.run(f"cd :{path}")[0] == 0
            parameters += not name.endswith(".")
    assert parameters > 100


def test_values_that_are_offered_are_accepted(driver):
    values = 0
    for path in walk(driver):
        for name in driver.complete(f"set :{path}"):
            if name.endswith("."):
                continue
            for value in driver.complete(f"set :{path}{name}="):
                if value.endswith("."):
                    continue
                result, text = driver.run(f'set :{path}{name}="{value}"')
                assert result == 0 and "invalid" not in text, (path, name, value)
                values += 1
    assert values > 10


def test_a_hint_is_what_the_one_candidate_adds(driver):
    assert driver.hint("ls Device.DeviceInfo.Hos") == "tName"
    assert driver.hint("set Device.DeviceInfo.DeviceMode=B") == "ridge"
    assert driver.complete("reboot -f ") == ["Bridge", "Router"]
    assert driver.hint("reset B") == "ridge"


def test_instances_that_come_and_go(driver):
    servers = "Device.DNS.Client.Server."
    before = driver.complete(f"ls {servers}")
    number, text = driver.run(f"add {servers}")
    assert number > 0, text
    driver.run("!event " + json.dumps({"Action": "Add", "Path": servers, "InstanceNumber": number}))
    assert driver.complete(f"ls {servers}") == sorted([*before, f"{number}."])
    assert "Enable" in driver.complete(f"ls {servers}{number}.")
    driver.run("!event " + json.dumps({"Action": "Delete", "Path": f"{servers}{number}.", "InstanceNumber": number}))
    assert driver.complete(f"ls {servers}") == before


def test_tab_and_hint_at_a_terminal(shell):
    shell.send("ls Device.DeviceInfo.Hos")
    shell.wait_text("ls Device.DeviceInfo.HostName")
    shell.send("\t")
    shell.wait_line("ls Device.DeviceInfo.HostName")
    shell.send("\t\t")
    shell.wait_text("Device.DeviceInfo.HostName  string  readWrite")
    shell.wait_line("ls Device.DeviceInfo.HostName")
    shell.send("\x15set Device.DeviceInfo.DeviceMode=B\t")
    shell.wait_line("set Device.DeviceInfo.DeviceMode=Bridge")


def test_case_is_passed_over_at_a_terminal(shell):
    shell.send("ls Device.\r")  # only of levels seen before
    shell.wait_text("Device.Users.")
    shell.wait_line("").send("ls device.deviceinfo.hostn\t")
    shell.wait_line("ls device.deviceinfo.HostName")


def test_the_previous_path_is_not_printed_by_a_hint(shell):
    shell.send("cd Device.Time\r")
    shell.wait_text("ravc:Device.Time>")
    shell.send("cd\r")
    shell.wait(lambda: shell.rows()[-1].endswith("ravc:>"), "the root")
    shell.forget()
    shell.send("ls -.Ena\t")
    shell.wait_line("ls -.Enable")
    assert b":Device.Time" not in shell.output


def test_hints_are_switched_off_and_on(shell):
    shell.send("opt hint off\r")
    shell.wait_line("")
    shell.forget()
    shell.send("ls Device.DeviceInfo.Hos")
    shell.wait_line("ls Device.DeviceInfo.Hos")
    assert "HostName" not in shell.text()
    shell.send("\x15opt hint on\r")
    shell.wait_line("")
    shell.send("ls Device.DeviceInfo.Hos")
    shell.wait_text("ls Device.DeviceInfo.HostName")


def test_an_instance_that_another_shell_adds_is_offered(shell, open_shell, ravd):
    shell.send("ls Device.DNS.Client.Server.\r")
    shell.wait_text("Device.DNS.Client.Server.max_instance")
    shell.wait_line("")
    other = open_shell(ravd.socket).wait_line("")
    other.send("add Device.DNS.Client.Server\r")
    other.wait_text("Instance number:")
    number = other.text().split("Instance number: ")[1].split()[0]
    shell.send(f"cat Device.DNS.Client.Server.{number}.Ena\t")
    shell.wait_line(f"cat Device.DNS.Client.Server.{number}.Enable")
