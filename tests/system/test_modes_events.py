"""Notifications, events and listening: what is sent and what is shown."""

import os
import signal
import subprocess

import pytest
from daemon import RAVC, wait_for

pytestmark = pytest.mark.usefixtures("home")


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
