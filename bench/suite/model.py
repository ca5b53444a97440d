"""Reading one parameter in a model of 10 and of 100,000 instances, and the memory that an instance takes."""
import json
import socket
import struct
from pathlib import Path

from harness import measure, report, servers

TABLE = "Device.Time.Client."
SMALL, LARGE = 10, 100_000
ROUNDS = 5
REQUESTS = 10_000
BATCH = 500


class Client:
    """One connection: batches of requests, each answered before the next one goes out."""

    def __init__(self, path):
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.sock.connect(path)
        self.replies = self.sock.makefile("rb")

    def batch(self, method, every):
        self.sock.sendall(json.dumps([{"jsonrpc": "2.0", "method": method, "params": params, "id": n}
                                      for n, params in enumerate(every)]).encode() + b"\n")
        replies = json.loads(self.replies.readline())
        if any("error" in reply for reply in replies):
            raise SystemExit(f"bench: {method} failed: {replies}")

    def fill(self, count):
        for first in range(0, count, BATCH):
            self.batch("AddObject", [{"ObjectName": TABLE}] * min(BATCH, count - first))

    def set(self, count):
        """Gives every instance a value of its own."""
        for first in range(1, count + 1, BATCH):
            self.batch("SetParameterValues", [{"ParameterList": [{"Name": f"{TABLE}{n}.Port", "Value": n % 65535 + 1}]}
                                              for n in range(first, min(first + BATCH, count + 1))])

    def resident(self):
        """Bytes of memory that the daemon occupies."""
        pid, _, _ = struct.unpack("iII", self.sock.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, 12))
        lines = Path(f"/proc/{pid}/status").read_text(encoding="ascii").splitlines()
        return 1024 * next(int(line.split()[1]) for line in lines if line.startswith("VmRSS:"))


def scripted(build, real, name, script):
    """Microseconds of one of many reads by one client."""
    Path(script).write_text(f"get {name}\n" * REQUESTS, encoding="ascii")
    ravc = [f"{build}/bin/ravc", "-u", real, "-s", script]
    return measure(build, ROUNDS, ravc)[0] / REQUESTS


def figures(build, count):
    """(one-shot read, one of many reads, bytes an instance, bytes an instance with a value set) of a filled model."""
    with servers(build) as (_, real):
        folder = Path(real).parent
        client = Client(real)
        client.fill(1)  # what the first one brings along is not counted
        before = client.resident()
        client.fill(count - 1)
        added = client.resident()
        client.set(count)
        full = client.resident()
        name = f"{TABLE}{count}.Port"
        one = measure(build, 40, [f"{build}/bin/ravc", "-u", real, "-r", "get", name])[0]
        return one, scripted(build, real, name, folder / "script"), (added - before) / count, (full - before) / count


def run(build):
    print(f"model: {LARGE} instances against {SMALL} (the column limit), whole processes, medians")
    small, large = figures(build, SMALL), figures(build, LARGE)
    report("one-shot read of one parameter", large[0], small[0], "us")
    report(f"{REQUESTS} scripted reads of it, a request", large[1], small[1], "us")
    print(f"{'an instance':<52} {large[2]:10.1f} bytes")
    print(f"{'an instance with a value set':<52} {large[3]:10.1f} bytes")
