"""Reading one parameter in a model of 10 and of 100,000 instances, and the memory that an instance takes."""
from pathlib import Path

from harness import BATCH, Client, measure, report, servers

TABLE = "Device.Time.Client."
SMALL, LARGE = 10, 100_000
ROUNDS = 5
REQUESTS = 10_000


def set_each(client, count):
    """Gives every instance a value of its own."""
    for first in range(1, count + 1, BATCH):
        client.batch("SetParameterValues", [{"ParameterList": [{"Name": f"{TABLE}{n}.Port", "Value": n % 65535 + 1}]}
                                            for n in range(first, min(first + BATCH, count + 1))])


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
        client.fill(TABLE, 1)  # what the first one brings along is not counted
        before = client.resident()
        client.fill(TABLE, count - 1)
        added = client.resident()
        set_each(client, count)
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
