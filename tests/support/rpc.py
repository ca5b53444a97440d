"""A small JSON-RPC client that shows the wire as it is: bytes out, lines in, every wait with a deadline."""

import json
import select
import socket
import time

DEADLINE = 20.0  # seconds; reached only when something is broken


class Closed(Exception):
    """The daemon has ended the connection."""


def execute_params(path, /, **arguments):
    """The params of Execute."""
    return {"Path": path, "ParameterList": [{"Name": name, "Value": value} for name, value in arguments.items()]}


class Rpc:
    def __init__(self, sock):
        self.sock = sock
        self.sock.settimeout(DEADLINE)
        self.rest = b""
        self.events = []
        self.last_id = 0

    @classmethod
    def unix(cls, path, wrap=None):
        sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        sock.connect(str(path))
        return cls(wrap(sock) if wrap else sock)

    @classmethod
    def tcp(cls, port, wrap=None, source=None):
        sock = socket.create_connection(("127.0.0.1", port), DEADLINE, (source, 0) if source else None)
        return cls(wrap(sock) if wrap else sock)

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        self.close()

    def close(self):
        self.sock.close()

    def send(self, data):
        """Sends bytes or texts as they stand, anything else as one message."""
        if isinstance(data, str):
            data = data.encode()
        elif not isinstance(data, (bytes, bytearray)):
            data = json.dumps(data).encode() + b"\n"
        self.sock.sendall(data)

    def line(self):
        """The next line without its line feed."""
        deadline = time.monotonic() + DEADLINE
        parts = [self.rest]
        while b"\n" not in parts[-1]:
            self.sock.settimeout(max(0.001, deadline - time.monotonic()))
            try:
                data = self.sock.recv(1 << 20)
            except ConnectionError as error:
                raise Closed from error
            if not data:
                raise Closed
            parts.append(data)
        line, _, self.rest = b"".join(parts).partition(b"\n")
        return line

    def message(self):
        """The next line as JSON."""
        return json.loads(self.line())

    def request(self, method, params=None, **members):
        """Sends a request with the next id and returns that id."""
        self.last_id += 1
        message = {"jsonrpc": "2.0", "method": method, "id": self.last_id, **members}
        if params is not None:
            message["params"] = params
        self.send(message)
        return self.last_id

    def notify(self, method, params=None):
        message = {"jsonrpc": "2.0", "method": method}
        if params is not None:
            message["params"] = params
        self.send(message)

    def reply(self, wanted):
        """The reply of that id; events that come before it are kept in self.events."""
        while True:
            message = self.message()
            if "method" in message:
                self.events.append(message)
                continue
            assert message["id"] == wanted, message
            return message

    def call(self, method, params=None):
        """The reply to one request, whole."""
        return self.reply(self.request(method, params))

    def result(self, method, params=None):
        """The result of a request that must succeed."""
        reply = self.call(method, params)
        assert "result" in reply, reply
        return reply["result"]

    def code(self, method, params=None):
        """The error code of a request that must fail."""
        reply = self.call(method, params)
        assert "error" in reply, reply
        return reply["error"]["code"]

    def execute(self, path, /, **arguments):
        """The reply to Execute, whole."""
        return self.call("Execute", execute_params(path, **arguments))

    def ping(self):
        """Whether the connection is served: one request and its reply."""
        return self.result("LeaveGroup", {"Group": 4294967295}) == {}

    def event(self):
        """The next event's params."""
        message = self.events.pop(0) if self.events else self.message()
        assert message["method"] == "Event" and "id" not in message, message
        return message["params"]

    def hello(self, secret, role="requests"):
        """Says Hello and waits until the daemon has taken it."""
        self.notify("Hello", {"Protocol": 1, "Session": secret, "Role": role, "Client": "test"})
        self.ping()

    def ended(self):
        """True once the daemon has ended the connection; whatever it sent before is thrown away."""
        deadline = time.monotonic() + DEADLINE
        while time.monotonic() < deadline:
            self.sock.settimeout(max(0.001, deadline - time.monotonic()))
            try:
                if not self.sock.recv(1 << 16):
                    return True
            except ConnectionError:
                return True
            except TimeoutError:
                return False
        return False

    def readable(self, seconds=0.0):
        return bool(select.select([self.sock], [], [], seconds)[0])
