"""What the benchmarks share: servers on private sockets, measured runs, and the table they print.

Client and server are pinned to one processor: unpinned round trips swing by a factor of two.
"""
import json
import os
import socket
import statistics
import struct
import subprocess
import tempfile
import time
from contextlib import contextmanager
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
PROCESSOR = str(max(os.sched_getaffinity(0)))
PIN = ["taskset", "-c", PROCESSOR]
BATCH = 500  # requests in a batch


@contextmanager
def server(command, path):
    """Runs command, which listens on path, until the block ends."""
    process = subprocess.Popen(PIN + command, stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        deadline = time.monotonic() + 10
        while not Path(path).exists():
            if process.poll() is not None or time.monotonic() > deadline:
                raise SystemExit(f"bench: {command[0]} did not start")
            time.sleep(0.01)
        yield process
    finally:
        process.terminate()
        process.wait()


@contextmanager
def table(build, rows):
    """The socket of a ravd whose model is one table of so many rows, ten parameters each (bench/schema)."""
    with tempfile.TemporaryDirectory(prefix="rav-bench.") as folder:
        path = f"{folder}/ravd.sock"
        ravd = [f"{build}/bin/ravd", "--socket", path, "--schema", f"{SOURCE}/bench/schema", "--state", f"{folder}/state"]
        with server(ravd, path):
            Client(path).fill("Device.Table.", rows)
            yield path


class Client:
    """One connection: batches of requests, each answered before the next one goes out."""

    def __init__(self, path):
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.sock.connect(path)
        self.replies = self.sock.makefile("rb")

    def ask(self, method, params):
        """The line of the reply to one request."""
        self.sock.sendall(json.dumps({"jsonrpc": "2.0", "method": method, "params": params, "id": 1}).encode() + b"\n")
        return self.replies.readline()

    def batch(self, method, every, failing=False):
        self.sock.sendall(json.dumps([{"jsonrpc": "2.0", "method": method, "params": params, "id": n}
                                      for n, params in enumerate(every)]).encode() + b"\n")
        replies = json.loads(self.replies.readline())
        if any(("error" in reply) != failing for reply in replies):
            raise SystemExit(f"bench: {method} failed: {replies}")

    def fill(self, table, count):
        """Adds so many instances to a table."""
        for first in range(0, count, BATCH):
            self.batch("AddObject", [{"ObjectName": table}] * min(BATCH, count - first))

    def resident(self):
        """Bytes of memory that the daemon occupies."""
        pid, _, _ = struct.unpack("iII", self.sock.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, 12))
        lines = Path(f"/proc/{pid}/status").read_text(encoding="ascii").splitlines()
        return 1024 * next(int(line.split()[1]) for line in lines if line.startswith("VmRSS:"))


@contextmanager
def servers(build, schema=SOURCE / "schema"):
    """The sockets of a limitd and a ravd that both run for the length of the block."""
    with tempfile.TemporaryDirectory(prefix="rav-bench.") as folder:
        limit, real = f"{folder}/limitd.sock", f"{folder}/ravd.sock"
        ravd = [f"{build}/bin/ravd", "--socket", real, "--schema", schema, "--state", f"{folder}/state"]
        with server([f"{build}/bench/limitd", limit], limit), server(ravd, real):
            yield limit, real


def measure(build, runs, command, stdin="/dev/null"):
    """(median microseconds, median peak KiB) of a command's whole runs; a run that fails ends the benchmark."""
    lines = subprocess.run(PIN + [f"{build}/bench/runstat", str(runs), stdin, *command], check=True, text=True,
                           capture_output=True, env={**os.environ, "HOME": "/nonexistent"}).stdout.splitlines()
    rows = [tuple(map(int, line.split())) for line in lines]
    if any(status != 0 for _, _, status in rows):
        raise SystemExit(f"bench: {' '.join(command)} failed")
    return statistics.median(r[0] for r in rows), statistics.median(r[1] for r in rows)


def at_a_terminal(build, what, shell):
    """Medians of the columns that ptybench prints for a shell; it is killed at the end, and leaves no history."""
    command = [*PIN, f"{build}/bench/ptybench", *map(str, what), *map(str, shell)]
    lines = subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE,
                           env={**os.environ, "HOME": "/nonexistent", "TERM": "xterm"}).stdout.splitlines()
    return [statistics.median(column) for column in zip(*(map(int, line.split()) for line in lines))]


def report(what, ours, limit, unit):
    print(f"{what:<52} {ours:10.1f} {unit:<4} limit {limit:10.1f}  ratio {ours / limit:5.2f}")
