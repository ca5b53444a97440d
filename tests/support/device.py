"""A daemon and one-shot requests of an admin to it: the pair as scripts use it."""

import os
import subprocess

from daemon import RAVC, wait_for
from firmware import read
from users import add_user

CONTACT = "Device.System.Contact"  # a parameter like any other
OK = "Status: OK\n"


class Device:
    """A daemon, and ravc that talks to it as an admin."""

    def __init__(self, daemon, arguments, is_remote):
        self.daemon = daemon
        self.arguments = arguments
        self.is_remote = is_remote

    def run(self, command, *words, typed=None):
        """(exit status, output) of a one-shot request."""
        result = subprocess.run([RAVC, *map(str, self.arguments), "-r", command, "--", *map(str, words)], input=typed,
                                stdin=None if typed is not None else subprocess.DEVNULL, capture_output=True,
                                text=True, timeout=60, check=False)
        assert result.stderr == ""
        return result.returncode, result.stdout

    def set(self, contact):
        return self.run("set", f"{CONTACT}={contact if self.is_remote else f'{chr(34)}{contact}{chr(34)}'}")

    def contact(self):
        with self.daemon.connect() as client:
            pairs = client.result("GetParameterValues", {"ParameterNames": [CONTACT]})["ParameterList"]
            return pairs[0]["Value"]

    def info(self, *names):
        with self.daemon.connect() as client:
            return read(client, *names)

    def starts(self):
        return self.daemon.log().count("<6>ready\n")

    def wait_start(self, number):
        wait_for(lambda: self.starts() == number, f"start {number}")

    def sending(self, path):
        """What is said about a file that is served; a regular expression."""
        if not self.is_remote:
            return ""
        size = os.path.getsize(path)
        return rf"Sending file \({path}, {size} bytes\) via netcat \(netcat://127\.0\.0\.1:\d+\)\.\.\.\n"


def remote_device(daemon, host, *options):
    with daemon.connect() as client:
        add_user(client, "boss", role="admin")
        assert client.result("SaveConfig") == {}
    return Device(daemon, ["-u", f"tcp://{host}:{daemon.ports()[0]}", "-a", "boss:secret", *options], True)
