"""ravc as scripts run it, and a daemon that says only what a test tells it to."""

import json
import socket
import subprocess

from daemon import RAVC

VERSION = "Device.DeviceInfo.SoftwareVersion"


def run(*arguments, program=RAVC, **settings):
    return subprocess.run([program, *map(str, arguments)], capture_output=True, text=True, timeout=60, check=False,
                          **settings)


class Mute:
    """A daemon that answers nothing."""

    def __init__(self, path):
        self.path = path
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(str(path))
        self.listener.listen()


def answer(connection, method, rest, end="}\n"):
    """Reads up to the request for method, and answers it with the rest of an object."""
    for line in connection.makefile():
        message = json.loads(line)
        if message["method"] == method:
            connection.sendall(f'{{"jsonrpc": "2.0", "id": {message["id"]}, {rest}{end}'.encode())
            return
