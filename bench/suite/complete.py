"""What a key with its hint costs in process, among very many siblings."""
import subprocess

from harness import PIN


def run(build):
    print("complete: a key's hint in process, best of 20 lines")
    print(subprocess.run([*PIN, f"{build}/bench/bench_complete"], check=True, text=True, capture_output=True).stdout,
          end="")
