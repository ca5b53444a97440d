"""Files that a shell serves to a daemon on another machine."""

import os
import re
import socket

import pytest
from accepting import Accepting
from rpc import DEADLINE

ROUNDS = int(os.environ.get("RAV_CTRLC", "300")) // 15

pytestmark = pytest.mark.usefixtures("abandoned_commands_leak")


@pytest.fixture
def daemon():
    """Reached over TCP. It answers no download: the test is the one who fetches."""
    accepting = Accepting()
    accepting.unanswered = {"Download"}
    yield accepting
    accepting.close()


@pytest.fixture
def image(tmp_path):
    path = tmp_path / "image"
    path.write_bytes(os.urandom(1 << 20) * 4)
    return path


def url_of(daemon, shell, number):
    """The URL of the number-th download, once that has been asked for."""
    def urls():
        return [params["URL"] for method, params in daemon.requests if method == "Download"]

    shell.wait(lambda: len(urls()) >= number, f"request {number}")
    return urls()[number - 1]


def fetch(url, source="127.0.0.1"):
    host, port = re.fullmatch(r"netcat://([0-9.]+):([0-9]+)", url).groups()
    return socket.create_connection((host, int(port)), DEADLINE, (source, 0))


def read_all(connection):
    data = b""
    while piece := connection.recv(1 << 16):
        data += piece
    return data


def test_ctrl_c_leaves_the_transfer_and_the_shell_as_they_are(daemon, image, open_shell):
    content = image.read_bytes()
    shell = open_shell(daemon.destination).wait_line("")
    for number in range(1, ROUNDS + 1):
        shell.send(f"download file {image}\r")
        with fetch(url_of(daemon, shell, number)) as connection:
            data = connection.recv(1000)
            shell.send("\x03" * (number % 3 + 1))
            shell.wait_line("")
            assert data + read_all(connection) == content
    assert "ok" in shell.enter("sh echo o''k")


def test_nobody_comes(daemon, image, open_shell):
    shell = open_shell(daemon.destination).wait_line("")
    shell.send(f"download file {image}\r")
    url_of(daemon, shell, 1)
    shell.wait_text("Waiting timeout, abort.")
    assert not shell.takes_keys()  # it waits for what the daemon makes of that
    shell.send("\x03")
    shell.wait_line("")


def test_the_transfer_goes_on_while_the_shell_is_used(daemon, image, open_shell):
    os.truncate(image, 1 << 26)  # more than the connection holds by itself
    shell = open_shell(daemon.destination).wait_line("")
    shell.send(f"download file {image}\r")
    url = url_of(daemon, shell, 1)
    shell.send("\x03")
    shell.wait_line("")
    with fetch(url, "127.0.0.2") as stranger:
        assert read_all(stranger) == b""
    with fetch(url) as connection:
        assert len(connection.recv(1000)) > 0
        for number in range(5):
            assert str(number) in shell.enter(f"sh echo {number}")
        image.write_bytes(b"")
        read_all(connection)
    shell.wait(lambda: re.search(r"send\(\) failed \(expected 67108864 bytes, transferred \d+ bytes\), abort\n?\.",
                                 shell.text()), "what the sender says")
    assert "ok" in shell.enter("sh echo o''k")
