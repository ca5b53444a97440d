"""rv.get in a loop of a Lua script, against the limit client and server; and the printer of Lua mode."""
import subprocess
import tempfile

from harness import PIN, measure, report, servers

NAME = "Device.DeviceInfo.UpTime"
REQUESTS = 10000
ROUNDS = 5


def run(build):
    print("lua: whole processes, client and server on one processor, medians")
    with servers(build) as (limit_socket, real_socket), tempfile.NamedTemporaryFile("w") as lines, \
            tempfile.NamedTemporaryFile("w") as script:
        lines.write(f"get {NAME}\n" * REQUESTS)
        lines.flush()
        script.write(f'for i = 1, {REQUESTS} do print(rv.get("{NAME}")) end\n')
        script.flush()
        limit = measure(build, ROUNDS, [f"{build}/bench/limit", limit_socket, "script"], lines.name)
        lua = measure(build, ROUNDS, [f"{build}/bin/ravc", "-u", real_socket, "-S", script.name])
        report(f"{REQUESTS} times rv.get, a request", lua[0] / REQUESTS, limit[0] / REQUESTS, "us")
        report("peak memory", lua[1], limit[1], "KiB")
    print("lua: the printer of Lua mode, in one process")
    print(subprocess.run([*PIN, f"{build}/bench/bench_lua_print"], check=True, text=True, capture_output=True).stdout,
          end="")
