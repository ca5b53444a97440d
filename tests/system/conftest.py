"""Fixtures of the system tests: real programs on private sockets and folders."""

import os
import pathlib
import subprocess
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "support"))

from accepting import Accepting  # noqa: E402
from daemon import BUILD, RAVC, Daemon  # noqa: E402
from device import Device, remote_device  # noqa: E402
from editor import DRIVER, Editor  # noqa: E402
from middleman import Middleman  # noqa: E402
from private_tmp import private_tmp  # noqa: E402
from screen import Screen  # noqa: E402
from users import add_user  # noqa: E402
from web import Taker  # noqa: E402


@pytest.fixture
def start_ravd(tmp_path):
    """Starts daemons: start_ravd(*options, schema=…, state=…, socket=…, descriptors=…, ready=True)."""
    started = []

    def start(*options, ready=True, **places):
        daemon = Daemon(tmp_path / f"ravd{len(started)}", *map(str, options), **places)
        started.append(daemon)
        return daemon.wait_ready() if ready else daemon

    yield start
    for daemon in started:
        daemon.stop()


@pytest.fixture
def ravd(start_ravd):
    """A daemon with the tree's own schema."""
    return start_ravd()


@pytest.fixture
def daemon(start_ravd):
    """A daemon that is reached over TCP, too, and takes passwords there."""
    return start_ravd("--listen", "tcp://127.0.0.1:0", "--allow-plain-login")


@pytest.fixture
def start_with_users(start_ravd):
    """Starts daemons with the users anna (user) and boss (admin): start_with_users(*options)."""

    def start(*options):
        daemon = start_ravd(*options)
        with daemon.connect() as client:
            daemon.anna = add_user(client, "anna")
            daemon.boss = add_user(client, "boss", role="admin")
        return daemon

    return start


@pytest.fixture
def admin(daemon):
    """A connection to the daemon of the fixture daemon with the rights of an admin."""
    with daemon.connect() as client:
        yield client


@pytest.fixture
def ravc(ravd):
    """Runs ravc against the daemon of the fixture ravd: ravc(*arguments, input=…) gives the finished process."""

    def run(*arguments, **settings):
        return subprocess.run([RAVC, "-u", ravd.socket, *map(str, arguments)], capture_output=True, text=True,
                              timeout=60, check=False, **settings)

    return run


@pytest.fixture(params=["local", "remote"])
def device(start_ravd, request):
    if request.param == "local":
        daemon = start_ravd()
        return Device(daemon, ["-u", daemon.socket], False)
    return remote_device(start_ravd("--listen", "tcp://127.0.0.1:0", "--allow-plain-login"), "127.0.0.1")


@pytest.fixture
def secure_device(start_ravd, certificate, monkeypatch):
    """Reached over TLS."""
    chain, key = certificate
    monkeypatch.setenv("SSL_CERT_FILE", str(chain))
    daemon = start_ravd("--listen", "tcp://127.0.0.1:0", "--tls-cert", chain, "--tls-key", key)
    return remote_device(daemon, "localhost", "--ssl")


@pytest.fixture
def taker():
    """An HTTP server that takes files."""
    server = Taker()
    yield server
    server.close()


@pytest.fixture
def shell_tmp(tmp_path):
    """The /tmp that shells of the test see (support/private_tmp.py)."""
    with private_tmp(tmp_path / "tmp", BUILD, tmp_path) as private:
        yield private


@pytest.fixture
def open_shell(shell_tmp, tmp_path):
    """Opens interactive shells: open_shell(socket, *options, columns=…, rows=…, **environment)."""
    opened = []

    def start(socket, *options, columns=80, rows=24, **environment):
        command = [*shell_tmp.prefix, BUILD.resolve() / "bin" / "ravc", "-u", socket, *map(str, options)]
        settings = {"TERM": "xterm-256color", "LC_ALL": "C.UTF-8", "HOME": str(tmp_path), "INPUTRC": "/dev/null"}
        opened.append(Screen(command, columns, rows, env={**os.environ, **settings, **environment}))
        return opened[-1]

    yield start
    for shell in opened:
        shell.close()
        assert b"Sanitizer" not in shell.output and b"runtime error" not in shell.output, shell.output


@pytest.fixture
def shell(ravd, open_shell):
    """A shell at its first prompt."""
    return open_shell(ravd.socket).wait_line("")


@pytest.fixture
def middleman(ravd, tmp_path):
    """Stands before the daemon of the fixture ravd."""
    between = Middleman(tmp_path / "between.sock", ravd.socket)
    yield between
    between.close()


@pytest.fixture
def abandoned_commands_leak(monkeypatch):
    """What an abandoned command held is not given back: the sanitizer is not to count it."""
    monkeypatch.setenv("ASAN_OPTIONS", "detect_leaks=0:abort_on_error=1")


@pytest.fixture
def accepting(tmp_path):
    """A daemon that lets everybody in (support/accepting.py)."""
    daemon = Accepting(tmp_path / "accepting")
    yield daemon
    daemon.close()


@pytest.fixture
def connect(ravd):
    """Makes connections to the daemon of the fixture ravd, and closes them."""
    made = []

    def make(**settings):
        made.append(ravd.connect(**settings))
        return made[-1]

    yield make
    for client in made:
        client.close()


@pytest.fixture(scope="session")
def certificate(tmp_path_factory):
    """A self-signed certificate for localhost and 127.0.0.1, and its key: two paths."""
    folder = tmp_path_factory.mktemp("tls")
    paths = folder / "cert.pem", folder / "key.pem"
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                    "-days", "2", "-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1",
                    "-out", paths[0], "-keyout", paths[1]], check=True, capture_output=True)
    return paths


@pytest.fixture
def home(tmp_path, monkeypatch):
    """An empty home, so that no start-up script of the user runs."""
    folder = tmp_path / "home"
    folder.mkdir()
    monkeypatch.setenv("HOME", str(folder))
    return folder


@pytest.fixture
def start_editor():
    """Opens line editors at a screen: start_editor(*arguments, columns=…, rows=…, command=…, **environment)."""
    started = []

    def make(*arguments, columns=80, rows=24, command=DRIVER, **environment):
        editor = Editor([command, *map(str, arguments)], columns, rows, environment)
        started.append(editor)
        return editor

    yield make
    for editor in started:
        editor.close()


@pytest.fixture
def editor(start_editor):
    """An editor at its first prompt."""
    return start_editor().shows("")


@pytest.fixture
def events(tmp_path):
    """A FIFO: what is written to it, an editor prints as an event."""
    path = tmp_path / "events"
    os.mkfifo(path)
    return path
