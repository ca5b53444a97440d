"""Reading one parameter among few and many instances, and the memory that an instance takes."""
from pathlib import Path

from harness import BATCH, Client, measure, report, servers

TABLE = "Device.Time.Client."
SMALL, LARGE = 10, 100_000
LEARNED = 10_000  # what a script knows of a table that it reads of: every instance of it
ROUNDS = 5
REQUESTS = 10_000


def set_each(client, count):
    """Gives every instance a value of its own."""
    for first in range(1, count + 1, BATCH):
        client.batch("SetParameterValues", [{"ParameterList": [{"Name": f"{TABLE}{n}.Port", "Value": n % 65535 + 1}]}
                                            for n in range(first, min(first + BATCH, count + 1))])


def scripted(build, count):
    """Microseconds of a script's first read in a filled model, and of each further one."""
    with servers(build) as (_, real):
        Client(real).fill(TABLE, count)
        script = Path(real).parent / "script"
        ravc = [f"{build}/bin/ravc", "-u", real, "-s", script]
        times = []
        for requests in (1, 1 + REQUESTS):
            script.write_text(f"get {TABLE}{count}.Port\n" * requests, encoding="ascii")
            times.append(measure(build, ROUNDS, ravc)[0])
        return times[0], (times[1] - times[0]) / REQUESTS


def figures(build, count):
    """(one-shot read, bytes an instance, bytes an instance with a value set) of a filled model."""
    with servers(build) as (_, real):
        client = Client(real)
        client.fill(TABLE, 1)  # what the first one brings along is not counted
        before = client.resident()
        client.fill(TABLE, count - 1)
        added = client.resident()
        set_each(client, count)
        full = client.resident()
        name = f"{TABLE}{count}.Port"
        one = measure(build, 40, [f"{build}/bin/ravc", "-u", real, "-r", "get", name])[0]
        return one, (added - before) / count, (full - before) / count


def run(build):
    print(f"model: many instances against {SMALL} (the column limit), whole processes, medians")
    small, large = figures(build, SMALL), figures(build, LARGE)
    report(f"one-shot read of one parameter among {LARGE}", large[0], small[0], "us")
    small_script, large_script = scripted(build, SMALL), scripted(build, LEARNED)
    report(f"a script's first read among {LEARNED}", large_script[0], small_script[0], "us")
    report("each further one", large_script[1], small_script[1], "us")
    print(f"{'an instance':<52} {large[1]:10.1f} bytes")
    print(f"{'an instance with a value set':<52} {large[2]:10.1f} bytes")
