"""Handlers that misbehave: whatever one does, its client has an answer and the daemon goes on."""

import os
import signal

import pytest
from daemon import wait_for
from handlers import LEAVE_PID, House, node, parameter, read

EXECUTE = 4


@pytest.fixture
def house(tmp_path):
    method = {**node("method", {EXECUTE: "do"}), "#input": node(Text=parameter()),
              "#output": node(Text=parameter(), Number=parameter("int"), Big=parameter("long"),
                              Real=parameter("decimal"))}
    return House(tmp_path, Plain=parameter(default="plain"), Do=method)


@pytest.fixture
def daemon(house, start_ravd):
    return house.start(start_ravd, "--limit", "program-ms=2000")


@pytest.fixture
def execute(daemon):
    """The reply to the method, after which the daemon serves as before."""
    def call(text=""):
        with daemon.connect() as client:
            reply = client.execute("Device.Do", Text=text)
            assert read(client, "Device.Plain") == {"Device.Plain": "plain"}
        if "error" in reply:
            return reply["error"]["code"]
        return {each["Name"]: each["Value"] for each in reply["result"]["ParameterList"]}
    return call


@pytest.mark.parametrize("commands", [
    "echo '{\"outputs\": {\"Number\": 1}}'; exec >&- 2>&-; exec sleep inf",
    "trap '' TERM INT HUP; while :; do sleep 1; done",
    "kill -STOP $$",
    "exec sleep inf <&- >&- 2>&-",
], ids=["closed_output", "deaf_to_signals", "stopped", "closed_everything"])
def test_who_hangs_is_killed_in_time(house, execute, daemon, commands):
    house.script("do", LEAVE_PID + commands)
    assert execute() == 9002
    assert "do, for Device.Do.: took longer than 2000 ms" in daemon.log()
    pid = house.pid()
    wait_for(lambda: not os.path.exists(f"/proc/{pid}"), "its end")


@pytest.mark.parametrize("output, outputs", [
    (r'{"outputs": {"Number": 7}}', {"Number": 7}),  # no line feed
    (r' \r\n\t {"outputs": {"Number": 7}} \n\n', {"Number": 7}),
    (r'', {}),
    (r'\n', {}),
    (r'{"outputs": null}', 9002),
    (r'{"outputs": {"Number": 7', 9002),
    (r'{"outputs": {"Number": 7}}{"outputs": {}}', 9002),
    (r'{"outputs": {"Text": "\377\376"}}', 9002),
    (r'{"outputs": {"Text": "\000"}}', 9002),
    (r'{"outputs": {"Text": "\\u0000"}}', 9002),
    (r'{"outputs": {"Text": "\\ud800"}}', 9002),
    (r'\357\273\277{"outputs": {}}', 9002),
    (r'{"outputs": {"Number": 2147483647}}', {"Number": 2147483647}),
    (r'{"outputs": {"Number": 2147483648}}', 9002),
    (r'{"outputs": {"Big": -9223372036854775808}}', {"Big": -9223372036854775808}),
    (r'{"outputs": {"Big": 9223372036854775808}}', 9002),
    (r'{"outputs": {"Big": 1e400}}', 9002),
    (r'{"outputs": {"Real": 1e400}}', 9002),
    (r'{"outputs": {"Real": 1e-400}}', {"Real": 0.0}),
    (r'{"error": 5}', 9002),
    (r'{"error": {"code": 99999999999, "message": "no"}}', 9002),
    (r'{"error": {"code": 9003.5, "message": ["no"]}}', 9002),
], ids=str)
def test_what_is_written(house, execute, output, outputs):
    house.script("do", f"printf '{output}'")
    assert execute() == outputs


def test_nesting_without_end(house, execute, daemon):
    house.script("do", "head -c 60000 /dev/zero | tr '\\0' '['")
    assert execute() == 9002
    assert "do, for Device.Do.: its answer is no JSON" in daemon.log()


LARGE = "x" * 1_000_000


@pytest.mark.parametrize("commands", [
    "exec <&-; echo '{\"outputs\": {\"Number\": 1}}'",
    "head -c 1 >/dev/null; echo '{\"outputs\": {\"Number\": 1}}'",
    "echo '{\"outputs\": {\"Number\": 1}}'",
    "echo '{\"outputs\": {\"Number\": 1}}'; exec >&-; cat >/dev/null",
], ids=["closes_it", "reads_one_byte", "never_reads", "reads_after_its_answer"])
def test_a_large_input_need_not_be_read(house, execute, commands):
    house.script("do", commands)
    assert execute(LARGE) == {"Number": 1}


def test_what_leaves_the_group_with_the_output_open_is_not_waited_for(house, execute):
    house.script("do", f"setsid sh -c '{LEAVE_PID}exec sleep 60' & "
                       "until [ -e $LEFT/pid ]; do sleep 0.01; done; echo '{\"outputs\": {\"Number\": 1}}'")
    try:
        assert execute() == {"Number": 1}
    finally:
        os.kill(house.pid(), signal.SIGKILL)
