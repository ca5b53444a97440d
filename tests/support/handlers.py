"""A daemon whose schema and handlers are the test's own."""

import json

import pytest
from daemon import wait_for

# Commands of handlers: one leaves its process's number, for House.pid(); the other waits for House.let_go().
LEAVE_PID = "echo $$ >$LEFT/pid.new; mv $LEFT/pid.new $LEFT/pid; "
AWAIT_GO = "until [ -e $LEFT/go ]; do sleep 0.02; done; "


def node(kind="object", handlers=None, **attributes):
    """A schema node. handlers: {action number: program}; further nodes are members that begin with a capital or "#"."""
    children = {name: attributes.pop(name) for name in list(attributes) if name[0].isupper()}
    attr = {"type": kind, **attributes}
    if handlers:
        attr["handlers"] = [{"action": action, "handler": "exec:" + program} for action, program in handlers.items()]
    return {"#attr": attr, **children}


def parameter(kind="string", handlers=None, default=None, access="readOnly", **attributes):
    if default is not None:
        attributes["default"] = default
    return node(kind, handlers, access=access, **attributes)


def table(handlers=None, template=None, **children):
    """A multi-instance object; template: handlers of each instance."""
    return {**node(handlers=handlers, multi=True), "#template": node(handlers=template, **children)}


class House:
    """Folders for one daemon: its schema, its handlers, and a place for these to leave something in."""

    def __init__(self, folder, **children):
        self.schema, self.handlers, self.left = (folder / name for name in ("schema", "handlers", "left"))
        for each in (self.schema, self.handlers, self.left):
            each.mkdir(mode=0o755, parents=True)
        (self.schema / "a.json").write_text(json.dumps({"Device": node(**children)}))

    def script(self, name, commands, interpreter="/bin/sh"):
        """Writes a handler. $LEFT stands for the folder that takes what it leaves."""
        file = self.handlers / name
        file.write_text(f"#!{interpreter}\n" + commands.replace("$LEFT", str(self.left)))
        file.chmod(0o755)

    def asked(self, name):
        """What a handler that does `cat >>$LEFT/NAME` was asked, in order."""
        file = self.left / name
        return [json.loads(line) for line in file.read_text().splitlines()] if file.exists() else []

    def pid(self):
        """What a handler has left by LEAVE_PID, once it has."""
        wait_for((self.left / "pid").exists, "the handler")
        return int((self.left / "pid").read_text())

    def let_go(self):
        (self.left / "go").touch()

    def start(self, start_ravd, *options, **places):
        """The daemon, by the fixture start_ravd."""
        return start_ravd("--handlers", self.handlers, *options, schema=self.schema, **places)


@pytest.fixture
def daemon(house, start_ravd):
    """The daemon of the fixture house, which each file of tests has its own of."""
    return house.start(start_ravd)


@pytest.fixture
def client(daemon):
    with daemon.connect() as client:
        yield client


def inside(socket):
    """The head of a handler in Python: call(method, **params) asks the daemon itself, at its socket."""
    return f"""import json, socket
def call(method, **params):
    s = socket.socket(socket.AF_UNIX)
    s.connect({str(socket)!r})
    request = {{"jsonrpc": "2.0", "id": 1, "method": method, "params": params}}
    s.sendall(json.dumps(request).encode() + b"\\n")
    return json.loads(s.makefile().readline())
"""


def read(client, *names):
    """{name: value} of GetParameterValues."""
    result = client.result("GetParameterValues", {"ParameterNames": list(names)})
    return {each["Name"]: each["Value"] for each in result["ParameterList"]}


def write(client, **pairs):
    """The reply to SetParameterValues of Device.NAME."""
    pairs = [{"Name": "Device." + name.replace("__", "."), "Value": value} for name, value in pairs.items()]
    return client.call("SetParameterValues", {"ParameterList": pairs})
