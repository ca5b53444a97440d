"""Kills, power cuts and damage, in full: of saving, how much of what was acknowledged they cost; of firmware upgrades, what
they leave that should not be."""
import os
import sys
import tempfile
from pathlib import Path

from harness import SOURCE


def show(what, count):
    print(f"{what:<52} {count}")


def upgrades(folder):
    """Damaged images, and kills at every call of an upgrade that changes the disk."""
    import upgrade_faults
    from tracing import can_trace
    site = upgrade_faults.Site(folder)
    found = {"damaged images": upgrade_faults.faults_of_images(site, upgrade_faults.damaged(site, 200, 100))}
    if can_trace():
        for call in upgrade_faults.CHANGING_CALLS:
            faults, kills = upgrade_faults.faults_of_kills(site, [call])
            found[f"upgrades killed at {call}, {kills} times"] = faults
        found["a link that is replaced too early (control)"] = upgrade_faults.faults_of_a_link_too_early(site)
    else:
        found["upgrades killed"] = ["not done: strace may not be used here"]
    for what, faults in found.items():
        show(what, "; ".join(faults) or "no faults")


def run(build):
    os.environ["RAV_BUILD"], os.environ["RAV_SOURCE"] = str(build), str(SOURCE)
    sys.path.insert(0, str(SOURCE / "tests" / "support"))
    import save_faults  # finds the build by the environment
    from tracing import can_trace

    print("faults: nothing but runs and acknowledged may be counted; (control): the fault is put back")
    harnesses = [
        ("kill -9 at random moments of saving", save_faults.kill_while_saving, {"rounds": 2000}),
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
            if traced and not can_trace():
                show(what, "not done: strace may not be used here")
            else:
                show(what, harness(Path(folder), **settings))
    with tempfile.TemporaryDirectory(prefix="rav-bench.") as folder:
        upgrades(Path(folder))
