"""Kills, power cuts and damage while the configuration is saved, in full: how much of what was acknowledged they cost."""
import os
import sys
import tempfile
from pathlib import Path

from harness import SOURCE


def show(what, count):
    print(f"{what:<52} {count}")


def run(build):
    os.environ["RAV_BUILD"], os.environ["RAV_SOURCE"] = str(build), str(SOURCE)
    sys.path.insert(0, str(SOURCE / "tests" / "support"))
    import save_faults  # finds the build by the environment

    print("faults: nothing but runs and acknowledged may be counted; (control): the fault is put back")
    harnesses = [
        ("kill -9 at random moments of saving", save_faults.kill_while_saving, {"rounds": 500}),
        ("the same (control)", save_faults.kill_while_saving, {"rounds": 50, "faulty": True}),
        ("kill -9 at every system call of saving", save_faults.kill_at_every_call, {}),
        ("the same (control)", save_faults.kill_at_every_call, {"calls": ("fdatasync",), "faulty": True}),
        ("power cuts", save_faults.power_cuts, {"cuts": 250}),
        ("the same (control)", save_faults.power_cuts, {"cuts": 20, "faulty": True}),
        ("damaged databases", save_faults.damaged_databases, {"rounds": 1000}),
        ("the same, the copy too (control)", save_faults.damaged_databases, {"rounds": 5, "faulty": True}),
    ]
    for what, harness, settings in harnesses:
        with tempfile.TemporaryDirectory(prefix="rav-bench.") as folder:
            traced = harness in (save_faults.kill_at_every_call, save_faults.power_cuts)
            if traced and not save_faults.can_trace(Path(folder)):
                show(what, "not done: strace may not be used here")
            else:
                show(what, harness(Path(folder), **settings))
