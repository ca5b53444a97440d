"""50 clients that read, all at once, while nothing else happens and while a method of another client hangs."""
import json
import socket
import statistics
import tempfile
import threading
import time

from harness import SOURCE, Client, server

CLIENTS = 50
REQUESTS = 400  # of each client
READ = {"ParameterNames": ["Device.DeviceInfo.SoftwareVersion"]}


def percentiles(path):
    """50th and 99th percentile, in milliseconds, of the reads of CLIENTS clients."""
    times, begin = [], threading.Barrier(CLIENTS)

    def read():
        client = Client(path)
        begin.wait()
        for _ in range(REQUESTS):
            start = time.perf_counter()
            client.ask("GetParameterValues", READ)
            times.append((time.perf_counter() - start) * 1000)

    threads = [threading.Thread(target=read) for _ in range(CLIENTS)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    cuts = statistics.quantiles(times, n=100)
    return cuts[49], cuts[98]


def hang(path, silent):
    """Has a method ask a name server that never answers; returns the connection that waits for it."""
    client = Client(path)
    arguments = {"HostName": "name.invalid", "DNSServer": "127.0.0.1:%d" % silent.getsockname()[1], "Timeout": 60000}
    client.sock.sendall(json.dumps({"jsonrpc": "2.0", "id": 1, "method": "Execute", "params": {
        "Path": "Device.DNS.Diagnostics.NSLookup",
        "ParameterList": [{"Name": name, "Value": value} for name, value in arguments.items()]}}).encode() + b"\n")
    silent.recv(4096)
    return client


def run(build):
    print(f"fair: {CLIENTS} clients read one value {REQUESTS} times each")
    with tempfile.TemporaryDirectory(prefix="rav-bench.") as folder, \
            socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as silent:
        silent.bind(("127.0.0.1", 0))
        path = f"{folder}/ravd.sock"
        with server([f"{build}/bin/ravd", "--socket", path, "--schema", f"{SOURCE}/schema", "--state",
                     f"{folder}/state"], path):
            percentiles(path)  # the first time warms up
            idle = percentiles(path)
            waiting = hang(path, silent)
            hanging = percentiles(path)
            waiting.sock.close()
    for what, (median, high) in ("idle", idle), ("while a method hangs", hanging):
        print(f"{'a read, ' + what:<52} {median:10.2f} ms   99 %: {high:.2f} ms")
    print(f"{'99 % while a method hangs, to idle':<52} {hanging[1] / idle[1]:10.2f}")
