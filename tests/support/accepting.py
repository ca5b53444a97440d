"""A daemon that lets everybody in, knows a few values, answers everything else with an empty result, and remembers what
it was asked, but for the levels of the data model: its root has the parameters "in", "out" and "x"."""

import json
import socket
import threading

from listener import stop_listening

ROOT_LEVEL = [{"Name": name, "Attributes": {"type": "string"}} for name in ("in", "out", "x")]


class Accepting:
    """Listens from its making until close()."""

    def __init__(self, path=None):
        """On the UNIX socket at path, else on a TCP port of loopback."""
        self.requests = []  # [(method, params)]
        self.levels = []  # [name of an object whose level was asked for]
        self.values = {}  # by name
        self.results = {}  # by method, where it is not empty
        self.refused = set()  # methods
        self.unanswered = set()  # methods
        self.listener = socket.socket(socket.AF_UNIX if path else socket.AF_INET)
        self.listener.bind(str(path) if path else ("127.0.0.1", 0))
        self.listener.listen()
        self.destination = str(path) if path else f"tcp://127.0.0.1:{self.listener.getsockname()[1]}"
        self.acceptor = threading.Thread(target=self._accept, daemon=True)
        self.acceptor.start()

    def methods(self):
        return [method for method, _ in self.requests]

    def close(self):
        stop_listening(self.listener, self.acceptor)

    def _accept(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection):
        with connection, connection.makefile() as lines:
            for line in lines:
                message = json.loads(line)
                if "id" not in message:
                    continue
                params = message.get("params", {})
                if message["method"] == "GetParameterAttributes":
                    self.levels += params["ParameterNames"]
                else:
                    self.requests.append((message["method"], params))
                known = [{"Name": name, "Value": self.values[name]} for name in params.get("ParameterNames", [])
                         if name in self.values]
                found = {"ParameterList": known} if known else self.results.get(message["method"], {})
                reply = {"jsonrpc": "2.0", "id": message["id"], "result": found}
                if message["method"] == "GetParameterAttributes":
                    reply["result"] = {"ParameterList": ROOT_LEVEL}
                if message["method"] in self.unanswered:
                    continue
                if message["method"] in self.refused:
                    del reply["result"]
                    reply["error"] = {"code": 9001, "message": "Request denied"}
                connection.sendall(json.dumps(reply).encode() + b"\n")
