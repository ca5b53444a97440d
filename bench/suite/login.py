"""What logins cost: a user that there is against one that there is not, and other clients while passwords are tried."""
import json
import statistics
import subprocess
import tempfile
import threading
import time
from contextlib import contextmanager
from pathlib import Path

from harness import SOURCE, Client

LOGINS = 2000  # of each kind
WRONG = 1000
REQUESTS = 2000


@contextmanager
def daemon(build):
    """The socket of a ravd with the user "known", whose refusals cost no pauses; it may use every processor."""
    with tempfile.TemporaryDirectory(prefix="rav-bench.") as folder:
        path = f"{folder}/ravd.sock"
        ravd = subprocess.Popen([f"{build}/bin/ravd", "--socket", path, "--schema", f"{SOURCE}/schema", "--state",
                                 f"{folder}/state", "--limit", "login-free=1000000"], stderr=subprocess.DEVNULL)
        try:
            deadline = time.monotonic() + 10
            while not Path(path).exists():
                if ravd.poll() is not None or time.monotonic() > deadline:
                    raise SystemExit("bench: ravd did not start")
                time.sleep(0.01)
            client = Client(path)
            client.batch("AddObject", [{"ObjectName": "Device.Users.User."}])
            number = json.loads(client.ask("GetParameterValues", {"ParameterNames": [
                "Device.Users.User.max_instance"]}))["result"]["ParameterList"][0]["Value"]
            values = {"Username": "known", "Password": "right", "Enable": True}
            client.batch("SetParameterValues", [{"ParameterList": [
                {"Name": f"Device.Users.User.{number}.{name}", "Value": value} for name, value in values.items()]}])
            yield path
        finally:
            ravd.terminate()
            ravd.wait()


def timed(client, method, params):
    """Milliseconds of one request."""
    begin = time.perf_counter()
    client.ask(method, params)
    return (time.perf_counter() - begin) * 1000


def refusals(path):
    """Medians of wrong logins of a user that there is and of one that there is not, taken in turns."""
    client = Client(path)
    known, unknown = [], []
    for _ in range(LOGINS):
        known.append(timed(client, "Login", {"User": "known", "Password": "wrong"}))
        unknown.append(timed(client, "Login", {"User": "other", "Password": "wrong"}))
    return statistics.median(known), statistics.median(unknown)


def latencies(path, going):
    """50th and 99th percentile of small reads, while going() or for REQUESTS of them."""
    client = Client(path)
    times = []
    while len(times) < REQUESTS or going():
        times.append(timed(client, "GetParameterValues", {"ParameterNames": ["Device.DeviceInfo.SoftwareVersion"]}))
    cuts = statistics.quantiles(times, n=100)
    return cuts[49], cuts[98]


def under_attack(path):
    """The same while one client tries WRONG passwords."""
    def attack():
        client = Client(path)
        client.batch("Login", [{"User": "known", "Password": "wrong"}] * WRONG, failing=True)

    attacker = threading.Thread(target=attack)
    attacker.start()
    figures = latencies(path, attacker.is_alive)
    attacker.join()
    return figures


def run(build):
    print(f"login: {LOGINS} refused logins of either kind; small reads, idle and during {WRONG} wrong logins")
    with daemon(build) as path:
        known, unknown = refusals(path)
        print(f"{'a refused login, known user':<52} {known:10.2f} ms")
        print(f"{'a refused login, unknown user':<52} {unknown:10.2f} ms   difference {100 * (known / unknown - 1):.2f} %")
        for what, figures in ("idle", latencies(path, lambda: False)), ("during the logins", under_attack(path)):
            print(f"{'a small read, ' + what:<52} {figures[0]:10.2f} ms   99 %: {figures[1]:.2f} ms")
