"""A ravd of a test's own: private socket, state folder and log."""

import os
import pathlib
import resource
import socket
import subprocess
import time

from rpc import DEADLINE, Rpc

BUILD = pathlib.Path(os.environ.get("RAV_BUILD", "build/release"))
SOURCE = pathlib.Path(os.environ.get("RAV_SOURCE", pathlib.Path(__file__).parents[2]))
RAVD = BUILD / "bin" / "ravd"
RAVC = BUILD / "bin" / "ravc"


def wait_for(condition, what):
    """Waits until condition() is true and returns its value."""
    deadline = time.monotonic() + DEADLINE
    while time.monotonic() < deadline:
        value = condition()
        if value:
            return value
        time.sleep(0.005)
    raise AssertionError(f"waited in vain for {what}")


def accepts(path):
    """Whether somebody takes connections there; the file alone is there a moment earlier."""
    with socket.socket(socket.AF_UNIX) as client:
        return client.connect_ex(str(path)) == 0


class Daemon:
    """Runs from its making until stop()."""

    def __init__(self, folder, *options, schema=None, state=None, socket=None, descriptors=None):
        self.folder = pathlib.Path(folder)
        self.folder.mkdir(parents=True, exist_ok=True)
        self.socket = pathlib.Path(socket or self.folder / "ravd.sock")
        self.state = pathlib.Path(state or self.folder / "state")
        self.log_file = self.folder / "log"

        def limit_descriptors():
            if descriptors:
                resource.setrlimit(resource.RLIMIT_NOFILE, (descriptors, descriptors))

        with open(self.log_file, "wb") as log:
            self.process = subprocess.Popen(self.command(
                [RAVD, "--socket", self.socket, "--state", self.state, "--schema", schema or SOURCE / "schema",
                 "--hash-cost", "1", *options]),
                stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=log, preexec_fn=limit_descriptors)

    def command(self, arguments):
        """How ravd is started with its arguments."""
        return arguments

    @property
    def pid(self):
        return self.process.pid

    def log(self):
        return self.log_file.read_text()

    def wait_ready(self):
        def is_ready():
            assert self.process.poll() is None, f"ravd has ended: {self.log()}"
            return "<6>ready\n" in self.log()

        wait_for(is_ready, "ravd to be ready")
        return self

    def ports(self):
        """The TCP ports that the log names."""
        lines = [line for line in self.log().splitlines() if line.startswith("<6>listening on tcp://")]
        return [int(line.split()[2].rpartition(":")[2]) for line in lines]

    def connect(self, wrap=None):
        return Rpc.unix(self.socket, wrap)

    def connect_tcp(self, wrap=None, source=None):
        return Rpc.tcp(self.ports()[0], wrap, source)

    def exit_status(self):
        return self.process.wait(DEADLINE)

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        self.stop()

    def stop(self):
        """Ends ravd, which must end well: status 0, its socket gone, nothing in the log that a sanitizer wrote."""
        if self.process.poll() is None:
            self.process.terminate()
            try:
                assert self.exit_status() == 0, self.log()
            finally:
                self.process.kill()
                self.process.wait()
            assert not self.socket.exists()
        assert "Sanitizer" not in self.log() and "runtime error" not in self.log(), self.log()
