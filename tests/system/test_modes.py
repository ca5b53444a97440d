"""Connecting, requests and raw messages of ravc against a real ravd: what is printed, what it ends with."""

import json
import os
import pathlib
import select
import shutil
import socket
import subprocess

import pytest
from daemon import RAVC
from program import VERSION, Mute, answer, run

pytestmark = pytest.mark.usefixtures("home")


# --- connecting


def test_missing_socket_refused_socket_and_no_permission_are_told_apart(tmp_path):
    missing = run("-u", tmp_path / "none", "-r", "get", "x")
    assert (missing.returncode, missing.stdout) == (
        1, "Cannot connect to ravd(requests) - No such file or directory(-1002)\n")
    stale = tmp_path / "stale"
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(stale))
    refused = run("-u", stale, "-r", "get", "x")
    assert (refused.returncode, refused.stdout) == (
        1, "Cannot connect to ravd(requests) - Connection refused(-1111)\n")


def test_no_permission(start_ravd, tmp_path):
    ravd = start_ravd()
    if os.getuid() == 0:
        for folder in (tmp_path, *tmp_path.parents[:2]):
            os.chmod(folder, 0o755)
        program = shutil.copy(RAVC, tmp_path)  # the build may stand where nobody else may look
        result = run("-u", ravd.socket, "-r", "get", "x", program=program, user=65534, group=65534, extra_groups=[])
    else:
        os.chmod(ravd.socket, 0)
        result = run("-u", ravd.socket, "-r", "get", "x")
    assert (result.returncode, result.stdout) == (
        1, "Cannot connect to ravd(requests) - Permission denied(-1013)\n")


def test_descriptors_that_do_not_suffice_for_both_connections(ravd):
    result = run("-c", 'ulimit -n 4; exec "$0" -u "$1" -r get x', RAVC, ravd.socket, program="/bin/sh")
    assert (result.returncode, result.stdout) == (1, "Cannot connect to ravd(events) - Too many open files(-1024)\n")


@pytest.mark.parametrize("destination, number", [
    ("", -4), ("tcp://nowhere", -4), ("tcp://:1", -4), ("tcp://127.0.0.1:0", -4), ("tcp://127.0.0.1:70000", -4),
    ("tcp://no.such.host.invalid:1", -3), ("x" * 108, -1036)])
def test_destinations_that_lead_nowhere(destination, number):
    result = run("-u", destination, "-r", "get", "x")
    assert result.returncode == 1
    assert result.stdout.startswith("Cannot connect to ravd(requests) - ")
    assert result.stdout.endswith(f"({number})\n")


def test_longest_socket_path_works(start_ravd):
    folder = pathlib.Path("/tmp") / f"rav-long-{os.getpid()}"
    path = folder / ("s" * (107 - len(str(folder)) - 1))
    folder.mkdir()
    try:
        ravd = start_ravd(socket=path)
        assert run("-u", path, "-r", "get", VERSION).stdout == " = '0.2.1'\n"
        ravd.stop()
    finally:
        folder.rmdir()


# --- request


def test_request_by_name_and_by_method(ravc):
    for name in ("get", "cat", "GetParameterValues"):
        result = ravc("-r", name, VERSION)
        assert (result.returncode, result.stdout, result.stderr) == (0, " = '0.2.1'\n", "")


def test_request_prints_this_machines_facts(ravc):
    facts = dict(line.split(" = ", 1) for line in ravc("-r", "get", "Device.DeviceInfo.").stdout.splitlines())
    facts = {name.strip(): value for name, value in facts.items()}
    assert facts["HostName"] == f"'{os.uname().nodename}'"
    assert os.uname().release in facts["AdditionalSoftwareVersion"]
    assert int(facts["UpTime"]) > 0
    assert int(facts["MemoryStatus.Total"]) > int(facts["MemoryStatus.Free"]) > 0
    assert int(facts["ProcessorNumberOfEntries"]) > 0
    assert int(facts["ProcessStatus.ProcessNumberOfEntries"]) > 1


def test_request_of_the_root_prints_whole_names(ravc):
    lines = ravc("-r", "get", ".").stdout.splitlines()
    assert len(lines) > 100
    assert all(line.startswith("Device.") for line in lines)


def test_request_of_an_unknown_name_is_reported_and_ends_with_zero(ravc):
    result = ravc("-r", "get", "Device.Nope")
    assert (result.returncode, result.stdout) == (
        0, '[9005] Invalid parameter name\nDevice.Nope: "9005 Invalid parameter name"\n')


def test_request_of_an_unknown_method(ravc):
    for name in ("nope", "?", "cd"):
        result = ravc("-r", name)
        assert (result.returncode, result.stdout) == (255, f"{name}: unknown method.\n")


def test_lua_script_that_can_not_be_opened(ravc, tmp_path):
    result = ravc("-S", "/nonexistent/script")
    assert (result.returncode, result.stdout) == (255, "Cannot open script file /nonexistent/script\n")


def test_lua_name_takes_the_script_from_its_arguments(ravd, tmp_path):
    program = tmp_path / "ravc_lua"
    program.symlink_to(RAVC.resolve())
    for arguments, name in ((("/nonexistent/a", "b"), "/nonexistent/a"), ((), "")):
        result = run("-u", ravd.socket, *arguments, program=program)
        assert (result.returncode, result.stdout) == (255, f"Cannot open script file {name}\n")


def test_login_that_is_empty_is_not_attempted(ravc):
    assert ravc("-a", ":secret", "-r", "get", VERSION).stdout == " = '0.2.1'\n"


# --- raw


def raw(ravc, message, *options):
    return ravc(*options, "--raw", message if isinstance(message, str) else json.dumps(message))


def test_raw_request_keeps_its_own_id(ravc):
    for number in (7, "text", 1.5):
        result = raw(ravc, {"jsonrpc": "2.0", "id": number, "method": "GetParameterValues",
                            "params": {"ParameterNames": [VERSION]}})
        assert result.returncode == 0 and result.stdout.startswith("<< {\n    ")
        assert json.loads(result.stdout[3:]) == {
            "jsonrpc": "2.0", "id": number, "result": {"ParameterList": [{"Name": VERSION, "Value": "0.2.1"}]}}


def test_raw_request_ends_with_the_low_bits_of_the_error_code(ravc):
    result = raw(ravc, {"jsonrpc": "2.0", "id": 1, "method": "Nope"})
    assert json.loads(result.stdout[3:])["error"]["code"] == -32601
    assert result.returncode == -32601 & 255


def test_raw_text_that_is_no_message(ravc):
    for text in ("nonsense", "", "{"):
        result = raw(ravc, text)
        assert (result.returncode, result.stdout) == (255, "Invalid raw JSON message.\n")
    for text in ("{}", "[]", '{"jsonrpc": "2.0"}', '{"method": "x"}'):
        result = raw(ravc, text)
        assert (result.returncode, result.stdout) == (255, "Incorrect message.\n")
    assert ravc("--raw", "7").stdout in ("Invalid raw JSON message.\n", "Incorrect message.\n")


def test_raw_notification_is_sent_without_waiting(ravc, connect):
    listener = connect()
    listener.call("JoinGroup", {"Group": 20})
    result = raw(ravc, {"jsonrpc": "2.0", "method": "Event", "params": {"Group": 20, "Params": [1]}})
    assert (result.returncode, result.stdout) == (0, "")
    assert listener.event() == {"Group": 20, "Params": [1]}


def test_raw_ignores_positional_arguments(ravc):
    message = json.dumps({"jsonrpc": "2.0", "id": 1, "method": "rpc.discover"})
    assert ravc("--raw", message, "more", "words").returncode == 0


def test_raw_timeout_is_reported_as_its_error(tmp_path):
    mute = Mute(tmp_path / "mute")
    result = run("-u", mute.path, "-t", "1", "--raw", '{"jsonrpc": "2.0", "id": 1, "method": "x"}')
    assert result.returncode == -8 & 255
    assert json.loads(result.stdout[3:])["error"]["code"] == -8


@pytest.mark.parametrize("seconds", ["0", "4294968", "99999999999999999999"])
def test_raw_timeout_of_nothing_or_too_much_does_not_end_at_once(tmp_path, seconds):
    """0 is as not given; 4294968 s are more milliseconds than an int holds, and would wrap to 704 ms."""
    mute = Mute(tmp_path / "mute")
    message = '{"jsonrpc": "2.0", "id": 1, "method": "x"}'
    with subprocess.Popen([RAVC, "-u", mute.path, "-t", seconds, "--raw", message], stdout=subprocess.PIPE,
                          text=True) as process:
        connection, _ = mute.listener.accept()
        lines = connection.makefile()
        while json.loads(lines.readline())["method"] != "x":
            pass
        gave_up = select.select([connection], [], [], 1)[0]
        if not gave_up:
            connection.sendall(b'{"jsonrpc": "2.0", "id": 1, "result": {}}\n')
        printed = process.communicate(timeout=20)[0]
    assert (process.returncode, json.loads(printed[3:])["result"]) == (0, {})


@pytest.mark.parametrize("arguments", [("-r", "get", "A"), ("--raw", '{"jsonrpc": "2.0", "id": 1, "method": "x"}'),
                                       ("-s",)])
def test_daemon_that_dies_in_the_middle_of_its_reply(tmp_path, arguments):
    mute = Mute(tmp_path / "mute")
    with subprocess.Popen([RAVC, "-u", mute.path, *arguments], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                          text=True) as process:
        connections = [mute.listener.accept()[0] for _ in range(2)]
        if arguments == ("-s",):  # a script joins its group and logs in first
            answer(connections[1], "JoinGroup", '"result": {}')
            answer(connections[0], "Login", '"result": {}')
            answer(connections[0], "GetParameterValues", '"result": {}')
            answer(connections[0], "GetParameterAttributes",
                   '"result": {"ParameterList": [{"Name": "A", "Attributes": {"type": "string"}}]}')
            process.stdin.write("get A\n")
            process.stdin.close()
            process.stdin = None
        answer(connections[0], "x" if "--raw" in arguments else "GetParameterValues", '"result": {"Stat', end="")
        for each in (mute.listener, *connections):
            each.close()
        printed = process.communicate(timeout=20)[0]
    assert "OK" not in printed
    assert "-6" in printed and "Connection lost, outcome unknown" in printed
    assert process.returncode == (-6 & 255 if "--raw" in arguments else 0)
