"""ravc as a process: its descriptors, signals, arguments and colours."""

import json
import os
import pathlib
import signal
import subprocess

import pexpect
import pytest
from daemon import RAVC, wait_for
from program import VERSION, Mute, answer, run

pytestmark = pytest.mark.usefixtures("home")


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
    child = pexpect.spawn(str(RAVC), ["-u", str(ravd.socket), "-r", "get", VERSION], timeout=20,
                          env={**os.environ, "COLORTERM": "truecolor"})
    child.expect(pexpect.EOF)
    assert child.before.decode() == " = \033[38;2;140;117;0m'0.2.1'\033[0m\r\n"
