"""One-shot reads of one value, and 10,000 requests one after another, against the limit client and server."""
import tempfile

from harness import measure, report, servers

NAME = "Device.DeviceInfo.UpTime"
REQUESTS = 10000
ROUNDS = 5


def run(build):
    print("request: whole processes, client and server on one processor, medians")
    with servers(build) as (limit_socket, real_socket), tempfile.NamedTemporaryFile("w") as script:
        script.write(f"get {NAME}\n" * REQUESTS)
        script.flush()
        limit = [f"{build}/bench/limit", limit_socket]
        ravc = [f"{build}/bin/ravc", "-u", real_socket]
        pairs = [(measure(build, 40, limit + ["get", NAME]), measure(build, 40, ravc + ["-r", "get", NAME]))
                 for _ in range(ROUNDS)]
        pairs.sort(key=lambda pair: pair[1][0] / pair[0][0])
        one_limit, one_ravc = pairs[ROUNDS // 2]
        report("one-shot read, whole process", one_ravc[0], one_limit[0], "us")
        report("one-shot read, peak memory", one_ravc[1], one_limit[1], "KiB")
        many_limit = measure(build, ROUNDS, limit + ["script"], script.name)
        many_ravc = measure(build, ROUNDS, ravc + ["-s", script.name])
        report(f"{REQUESTS} scripted reads, a request", many_ravc[0] / REQUESTS, many_limit[0] / REQUESTS, "us")
