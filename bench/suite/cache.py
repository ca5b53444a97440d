"""Time and memory of the client's node cache."""
import subprocess

from harness import PIN


def run(build):
    print("cache: building the node cache from a reply, and what stays of it")
    print(subprocess.run([*PIN, f"{build}/bench/bench_cache"], check=True, text=True, capture_output=True).stdout, end="")
