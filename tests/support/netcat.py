"""Somebody who listens on a port of the loopback, takes what one connection brings, and says nothing."""

import socket
import threading

from listener import stop_listening
from rpc import DEADLINE


class Listening:
    def __init__(self):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.listener.settimeout(DEADLINE)
        self.url = "netcat://127.0.0.1:%d" % self.listener.getsockname()[1]
        self.received = None
        self.thread = threading.Thread(target=self._take, daemon=True)
        self.thread.start()

    def _take(self):
        try:
            connection = self.listener.accept()[0]
        except OSError:
            return
        with connection, connection.makefile("rb") as stream:
            self.received = stream.read()

    def content(self):
        """All that came, once the other side has closed."""
        self.thread.join()
        return self.received

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        stop_listening(self.listener, self.thread)
