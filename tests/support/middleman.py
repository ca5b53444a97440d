"""Stands between ravc and ravd: passes lines on, and withholds, replaces or adds what a test wants."""

import json
import socket
import threading

from listener import stop_listening


def event(group, params):
    """An event's line."""
    message = {"jsonrpc": "2.0", "method": "Event", "params": {"Group": group, "Params": params}}
    return json.dumps(message).encode() + b"\n"


def result(request, value):
    """The line of a successful reply."""
    return json.dumps({"jsonrpc": "2.0", "id": request["id"], "result": value}).encode() + b"\n"


class Link:
    """One connection of ravc's, and the one to ravd that stands for it."""

    def __init__(self, owner, client, daemon):
        self.owner = owner
        self.client = client
        self.daemon = daemon
        self.role = None
        self.lock = threading.Lock()

    def start(self):
        self.pumps = [threading.Thread(target=pump, daemon=True) for pump in (self.pump_requests, self.pump_replies)]
        for pump in self.pumps:
            pump.start()

    def join(self):
        for pump in self.pumps:
            pump.join()
        self.client.close()
        self.daemon.close()

    def send(self, data):
        """Sends bytes to ravc, as they stand and in one write."""
        with self.lock:
            self.client.sendall(data)

    def pump_requests(self):
        try:
            for line in self.client.makefile("rb"):
                message = json.loads(line)
                if message.get("method") == "Hello":
                    self.role = message["params"]["Role"]
                if self.owner.takes(self, message):
                    self.daemon.sendall(line)
        except OSError:
            pass
        self.close()

    def pump_replies(self):
        try:
            for line in self.daemon.makefile("rb"):
                self.send(line)
        except OSError:
            pass
        self.close()

    def close(self):
        for sock in (self.client, self.daemon):
            try:
                sock.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass


class Middleman:
    """Listens at path. handlers: for a method, what to do with (link, request) instead of passing it on."""

    def __init__(self, path, daemon):
        self.socket = path
        self.daemon = daemon
        self.handlers = {}
        self.links = []
        self.seen = []
        self.changed = threading.Condition()
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(str(path))
        self.listener.listen()
        self.acceptor = threading.Thread(target=self.accept, daemon=True)
        self.acceptor.start()

    def accept(self):
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:
                return
            daemon = socket.socket(socket.AF_UNIX)
            daemon.connect(str(self.daemon))
            self.links.append(Link(self, client, daemon))
            self.links[-1].start()

    def takes(self, link, message):
        """Notes a request. Returns whether it is to be passed on."""
        handler = self.handlers.get(message.get("method"))
        with self.changed:
            self.seen.append(message)
            self.changed.notify_all()
        if not handler:
            return True
        handler(link, message)
        return False

    def stall(self, method):
        """Leaves requests of that method unanswered, and returns the list that they are put into."""
        held = []
        self.handlers[method] = lambda link, request: held.append((link, request))
        return held

    def wait_request(self, method, count=1):
        """Waits until so many requests of that method have come, and returns the last one."""
        with self.changed:
            assert self.changed.wait_for(lambda: len(self.requests(method)) >= count, 20), f"no {method}"
            return self.requests(method)[-1]

    def requests(self, method):
        return [message for message in self.seen if message.get("method") == method]

    def link(self, role):
        """The connection of that role: "requests" or "events"."""
        return next(link for link in self.links if link.role == role)

    def close(self):
        stop_listening(self.listener, self.acceptor)
        for link in self.links:
            link.close()
            link.join()
