"""Every run mode of ravc against a real ravd: what is printed, what it ends with."""

import json
import os
import pathlib
import select
import shutil
import signal
import socket
import subprocess

import pytest
from daemon import RAVC, wait_for

VERSION = "Device.DeviceInfo.SoftwareVersion"

pytestmark = pytest.mark.usefixtures("home")


def run(*arguments, program=RAVC, **settings):
    return subprocess.run([program, *map(str, arguments)], capture_output=True, text=True, timeout=60, check=False,
                          **settings)


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


def test_commands_that_are_still_to_come_say_so(ravc):
    result = ravc("-r", "save")
    assert (result.returncode, result.stdout, result.stderr) == (255, "", "ravc: save: not built yet\n")


def test_modes_that_are_still_to_come_say_so(ravc):
    result = ravc("-S", "/dev/null")
    assert (result.returncode, result.stdout, result.stderr) == (1, "", "ravc: Lua scripts: not built yet\n")


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


class Mute:
    """A daemon that answers nothing."""

    def __init__(self, path):
        self.path = path
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(str(path))
        self.listener.listen()


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


def answer(connection, method, rest, end="}\n"):
    """Reads up to the request for method, and answers it with the rest of an object."""
    for line in connection.makefile():
        message = json.loads(line)
        if message["method"] == method:
            connection.sendall(f'{{"jsonrpc": "2.0", "id": {message["id"]}, {rest}{end}'.encode())
            return


# --- notify, event, listen


def test_notify_is_unsupported(ravc):
    assert (ravc("-n", "x").returncode, ravc("-n", "x").stdout) == (0, "Unsupported :(\n")


def test_event_goes_to_who_has_joined(ravc, connect):
    listener = connect()
    listener.call("JoinGroup", {"Group": 16})
    for text, params in (('{"a": [1, 2]}', {"a": [1, 2]}), ("[]", [])):
        assert ravc("-e", 16, text).returncode == 0
        assert listener.event() == {"Group": 16, "Params": params}
    for arguments in ((), ("not json",), ("7",)):  # no JSON text: an event without parameters
        assert ravc("-e", 16, *arguments).returncode == 0
        assert listener.event() == {"Group": 16}


def test_event_of_a_group_that_is_no_number_warns_and_is_sent(ravc, connect):
    listener = connect()
    listener.call("JoinGroup", {"Group": 0})
    result = ravc("-e", "abc", "{}")
    assert (result.returncode, result.stderr) == (0, "Group id must be an integer.\n")
    assert listener.event() == {"Group": 0, "Params": {}}


@pytest.fixture
def listen(ravd):
    """Starts ravc in listen mode; gives the process and a function that reads what it has printed so far."""
    started = []

    def start(*groups):
        process = subprocess.Popen([RAVC, "-u", ravd.socket, "-l", "-g", ",".join(map(str, groups))],
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        os.set_blocking(process.stdout.fileno(), False)
        started.append(process)
        text = []

        def printed():
            text.append(process.stdout.read() or b"")
            return b"".join(text).decode()

        return process, printed

    yield start
    for process in started:
        process.kill()
        process.wait()
        process.stdout.close()


def shows(ravc, printed, group, text, shown):
    """Sends an event until it is shown: the listener may not have joined yet."""

    def sent_and_shown():
        ravc("-e", group, text)
        return shown in printed()

    wait_for(sent_and_shown, f"{shown!r}")


def test_listen_shows_each_event_of_its_groups_as_it_arrives(ravc, listen):
    process, printed = listen(16, 17)
    shows(ravc, printed, 16, '{"a": {"b": 1}}', '\nEVENT 16:\n{\n    "a": {\n        "b": 1\n    }\n}\n')
    shows(ravc, printed, 17, "", "\nEVENT 17:\n")
    ravc("-e", 18, "{}")
    shows(ravc, printed, 16, "[1]", "\nEVENT 16:\n[\n    1\n]\n")
    assert "EVENT 18" not in printed()
    assert process.poll() is None


def test_listen_ignores_ctrl_c_and_ends_by_another_signal(ravc, listen):
    process, printed = listen(16)
    shows(ravc, printed, 16, "{}", "EVENT 16")
    process.send_signal(signal.SIGINT)
    shows(ravc, printed, 16, "[]", "EVENT 16:\n[]\n")
    process.terminate()
    assert process.wait(20) == -signal.SIGTERM


def test_listen_goes_on_after_the_daemon_was_restarted(ravd, ravc, listen, start_ravd):
    process, printed = listen(16)
    shows(ravc, printed, 16, "{}", "EVENT 16:\n{}\n")
    ravd.stop()
    start_ravd(socket=ravd.socket)
    shows(ravc, printed, 16, "[]", "EVENT 16:\n[]\n")
    assert process.poll() is None


def test_listen_shows_nothing_without_groups(ravd, ravc, connect):
    process = subprocess.Popen([RAVC, "-u", ravd.socket, "-l"], stdout=subprocess.PIPE)
    watcher = connect()
    watcher.call("JoinGroup", {"Group": 16})
    ravc("-e", 16)
    assert watcher.event() == {"Group": 16}
    process.terminate()
    assert process.communicate(timeout=20)[0] == b""


# --- scripts


def test_script_from_a_file_and_from_standard_input(ravc, tmp_path):
    script = tmp_path / "script"
    script.write_text(f"# facts\necho version\nget {VERSION} # of the software\nGetParameterValues {VERSION}\n")
    expected = "version\n = '0.2.1'\n = '0.2.1'\n"
    for arguments, settings in ((("-s", script), {}), ((f"--script={script}",), {}),
                                (("-s",), {"input": script.read_text()})):
        result = ravc(*arguments, **settings)
        assert (result.returncode, result.stdout) == (0, expected)


def test_script_command_whose_words_begin_with_a_comment_has_no_arguments(ravc):
    result = ravc("-s", input="get #x\nget # x\n")
    lines = result.stdout.splitlines()
    assert result.returncode == 0 and len(lines) > 200
    assert all(line.startswith("Device.") for line in lines)


def test_script_ends_at_a_command_that_is_not_callable_by_method(ravc):
    result = ravc("-s", input="echo a\ncd\necho b\n")
    assert (result.returncode, result.stdout) == (255, "a\ncd: unknown method.\n")


def test_script_that_can_not_be_opened(ravc):
    result = ravc("-s", "/nonexistent/script")
    assert (result.returncode, result.stdout) == (255, "Cannot open script file /nonexistent/script\n")


def test_interpreter_name_runs_a_script_with_a_first_line_of_its_own(ravd, tmp_path):
    interpreter = tmp_path / "ravc_interpreter"
    interpreter.symlink_to(RAVC.resolve())
    script = tmp_path / "script"
    script.write_text(f"#!{interpreter}\nget {VERSION}\n")
    result = run("-u", ravd.socket, script, program=interpreter)
    assert (result.returncode, result.stdout) == (0, " = '0.2.1'\n")


# --- start-up script


def test_startup_script_runs_silently_by_name_in_every_mode(ravc, home, connect):
    listener = connect()
    listener.call("JoinGroup", {"Group": 16})
    config = home / ".local" / "ravc" / "config"
    config.parent.mkdir(parents=True)
    config.write_text(f"echo hidden\nget {VERSION}\nnope\n")
    for arguments, expected in ((("-r", "get", VERSION), " = '0.2.1'\n"), (("-n", "x"), "Unsupported :(\n")):
        assert ravc(*arguments).stdout == expected
    assert "GetParameterValues" in requests_of(home, config.read_text())


def requests_of(home, script):
    """The methods that a run with this start-up script asks a recording daemon for."""
    (home / ".local" / "ravc" / "config").write_text(script)
    path = home / "recorder"
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(path))
        listener.listen()
        process = subprocess.Popen([RAVC, "-u", path, "-r", "nope"], stdout=subprocess.DEVNULL)
        connection, _ = listener.accept()
        lines = connection.makefile()
        methods = [json.loads(lines.readline())["method"] for _ in range(2)]
        process.kill()
        process.wait()
        connection.close()
    return methods


def test_startup_script_given_by_option(ravc, tmp_path):
    script = tmp_path / "config"
    script.write_text("echo hidden\n")
    for path in (script, tmp_path / "missing", tmp_path):
        assert ravc("-c", path, "-r", "get", VERSION).stdout == " = '0.2.1'\n"


def test_startup_script_of_a_home_that_does_not_fit_is_passed_over(ravc, tmp_path, monkeypatch):
    home = tmp_path / ("h" * 200) / ("h" * 200)
    config = home / ".local" / "ravc" / "config"
    config.parent.mkdir(parents=True)
    config.write_text("sleep 1000\n")
    monkeypatch.setenv("HOME", str(home))
    assert ravc("-r", "get", VERSION).stdout == " = '0.2.1'\n"


# --- descriptors, signals, secrets, colours


def test_standard_descriptors_that_are_closed(ravd):
    for closed in ("<&-", ">&-", "2>&-", "<&- >&- 2>&-"):
        shell = f'exec "$0" -u "$1" -r get {VERSION} {closed}'
        result = run("-c", shell, RAVC, ravd.socket, program="/bin/sh")
        assert result.returncode == 0
        assert result.stdout == ("" if ">&-" in closed.split() else " = '0.2.1'\n")


@pytest.mark.parametrize("closed", ["<&-", ">&-", "2>&-", "<&- >&- 2>&-"])
def test_standard_descriptors_that_are_closed_do_not_become_connections(tmp_path, closed):
    """Else what is printed would go to the daemon."""
    mute = Mute(tmp_path / "mute")
    shell = f'exec "$0" -u "$1" -r get A {closed}'
    with subprocess.Popen(["/bin/sh", "-c", shell, RAVC, mute.path], stdout=subprocess.DEVNULL) as process:
        connections = [mute.listener.accept()[0] for _ in range(2)]
        value = json.dumps({"Name": "A", "Value": "x" * 100000})  # more than is kept back until the end
        answer(connections[0], "GetParameterValues", f'"result": {{"ParameterList": [{value}]}}')
        assert process.wait(20) == 0
    assert [connection.recv(1000) for connection in connections] == [b"", b""]


def test_reader_that_goes_away_ends_it_quietly(ravd):
    shell = '"$0" -u "$1" -s | head -n 1; echo "${PIPESTATUS[0]}"'
    result = run("-c", shell, RAVC, ravd.socket, program="/bin/bash", input="get .\n" * 100)  # more than a pipe holds
    first, status = result.stdout.splitlines()
    assert first.startswith("Device.") and status == str(128 + signal.SIGPIPE)
    assert result.stderr == ""


def test_full_device_does_not_hang(ravd):
    with open("/dev/full", "wb") as full:
        assert subprocess.run([RAVC, "-u", ravd.socket, "-r", "get", "."], stdout=full, timeout=60, check=False)


def test_credentials_leave_the_process_list(ravd):
    process = subprocess.Popen([RAVC, "-u", ravd.socket, "-l", "-a", ":canary"], stdout=subprocess.DEVNULL)
    try:
        wait_for(lambda: b"*******" in pathlib.Path(f"/proc/{process.pid}/cmdline").read_bytes(), "stars")
        assert b"canary" not in pathlib.Path(f"/proc/{process.pid}/cmdline").read_bytes()
    finally:
        process.kill()
        process.wait()


def test_sockets_are_not_inherited(ravd):
    process = subprocess.Popen([RAVC, "-u", ravd.socket, "-l"], stdout=subprocess.DEVNULL)
    try:
        folder = pathlib.Path(f"/proc/{process.pid}")

        def sockets():
            try:
                links = {int(fd.name): os.readlink(fd) for fd in (folder / "fd").iterdir()}
            except FileNotFoundError:
                return None  # closed while they were looked at
            found = [fd for fd, link in links.items() if link.startswith("socket:")]
            return found if len(found) == 2 else None

        for fd in wait_for(sockets, "two connections"):
            flags = next(line for line in (folder / "fdinfo" / str(fd)).read_text().splitlines() if "flags" in line)
            assert int(flags.split()[1], 8) & os.O_CLOEXEC
    finally:
        process.kill()
        process.wait()


def test_no_colours_in_a_file_colours_at_a_terminal(ravd, ravc):
    assert "\033" not in ravc("-r", "get", VERSION).stdout
    import pexpect
    child = pexpect.spawn(str(RAVC), ["-u", str(ravd.socket), "-r", "get", VERSION], timeout=20,
                          env={**os.environ, "COLORTERM": "truecolor"})
    child.expect(pexpect.EOF)
    assert child.before.decode() == " = \033[38;2;140;117;0m'0.2.1'\033[0m\r\n"


