"""The interactive shell: from its start to its first prompt, and what it occupies there, against the limit shell."""
from harness import at_a_terminal, report, servers

RUNS, ROUNDS = 15, 5


def run(build):
    print("start: shell at a terminal, shell and daemon on one processor, medians")
    with servers(build) as (limit_socket, real_socket):
        limit = [f"{build}/bench/limitsh", limit_socket, "0"]
        ravc = [f"{build}/bin/ravc", "-u", real_socket]
        pairs = [(at_a_terminal(build, ["start", RUNS, "limit> "], limit),
                  at_a_terminal(build, ["start", RUNS, "> "], ravc)) for _ in range(ROUNDS)]
        pairs.sort(key=lambda pair: pair[1][0] / pair[0][0])
        limits, ours = pairs[ROUNDS // 2]
        report("start to first prompt", ours[0], limits[0], "us")
        report("idle at the prompt, resident", ours[1], limits[1], "KiB")
        report("idle at the prompt, private", ours[2], limits[2], "KiB")
