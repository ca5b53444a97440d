"""Fixtures of the system tests: real programs on private sockets and folders."""

import pathlib
import subprocess
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "support"))

from daemon import RAVC, Daemon  # noqa: E402


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
def ravc(ravd):
    """Runs ravc against the daemon of the fixture ravd: ravc(*arguments, input=…) gives the finished process."""

    def run(*arguments, **settings):
        return subprocess.run([RAVC, "-u", ravd.socket, *map(str, arguments)], capture_output=True, text=True,
                              timeout=60, check=False, **settings)

    return run


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
