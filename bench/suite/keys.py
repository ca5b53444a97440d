"""Typing with hints on: from a key's write to the last byte drawn, against the limit shell."""
import json
from pathlib import Path

from harness import at_a_terminal, report, servers

ROUNDS = 7
CHILDREN = 100_000


def wide_schema(folder):
    """A model with one object of CHILDREN parameters: its folder."""
    parameter = {"#attr": {"type": "string", "access": "readWrite", "default": ""}}
    wide = {"#attr": {"type": "object"}, **{f"Host{n:06}": parameter for n in range(CHILDREN)}}
    tree = {"Device": {"#attr": {"type": "object"}, "Wide": wide}}
    Path(folder).mkdir()
    Path(folder, "wide.json").write_text(json.dumps(tree), encoding="ascii")
    return folder


def compare(build, what, sockets, children, lead, keys):
    limit_socket, real_socket = sockets
    typed = ["keys", ROUNDS]
    limit = at_a_terminal(build, [*typed, "limit> ", lead, keys], [f"{build}/bench/limitsh", limit_socket, children])
    ravc = at_a_terminal(build, [*typed, "> ", lead, keys], [f"{build}/bin/ravc", "-u", real_socket])
    report(what, ravc[0], limit[0], "us")


def run(build):
    print("keys: a key with its hint, shell and daemon on one processor, medians")
    with servers(build) as sockets:
        compare(build, "a key, default model", sockets, 30, "attr Device.DeviceInfo.\r",
                "cat Device.DeviceInfo.SoftwareVersion")
        with servers(build, wide_schema(Path(sockets[1]).parent / "schema")) as wide:
            compare(build, f"a key, among {CHILDREN} children", wide, CHILDREN, "ls Device.Wide.Host\r",
                    "cat Device.Wide.Host099999")
