"""What breaks firmware upgrades: images that are damaged, and a daemon that is killed at each step. A few of them run
with the tests, all of them in bench/suite/faults.py. Every function returns what it found wrong, in words."""

import hashlib
import json
import os
import random
import shutil
import subprocess

from daemon import Daemon, wait_for
from firmware import apply, download, fetch, files_below, make_image, read, upgrade
from rpc import Closed

OLD, NEW = "1.0.0", "2.0.0"
# Calls that change what is on the disk, and are made in an upgrade and in the start that follows it.
CHANGING_CALLS = ["write", "fsync", "mkdirat", "symlinkat", "renameat", "unlinkat", "linkat", "unlink"]


class Site:
    """A state folder with the old firmware, and an image of the new one."""

    def __init__(self, folder):
        self.folder = folder
        self.count = 0
        self.state = folder / "template"
        with Daemon(folder / "first", state=self.state).wait_ready() as daemon:
            with daemon.connect() as client:
                self.model = read(client, "ModelName")
            upgrade(daemon, make_image(folder / "old", self.model, OLD))
        self.image = make_image(folder / "new", self.model, NEW, {"root": b"new root" * 3000, "kernel": b"new"})

    def daemon(self, state=None):
        """A daemon on a copy of the state, or on the state given."""
        self.count += 1
        place = self.folder / f"daemon{self.count}"
        if state is None:
            state = place / "state"
            shutil.copytree(self.state, state, symlinks=True)
        return Daemon(place, state=state)


def is_whole(slot):
    """Whether every payload of a slot is what its manifest says."""
    try:
        rows = json.loads((slot / "manifest.json").read_text())["payloads"]
        return all(hashlib.sha256((slot / row["name"]).read_bytes()).hexdigest() == row["sha256"] for row in rows)
    except (OSError, ValueError):
        return False


def faults_after(site, state, what):
    """Starts a daemon on what an upgrade has left, and looks whether it runs one firmware or the other, whole."""
    with site.daemon(state).wait_ready() as daemon, daemon.connect() as client:
        version, status = read(client, "SoftwareVersion", "UpgradeStatus")
    faults = []
    slots = state / "slots"
    active = slots / "active"
    if version not in (OLD, NEW):
        faults.append(f"{what}: {version} runs")
    if not is_whole(active) or json.loads((active / "manifest.json").read_text())["version"] != version:
        faults.append(f"{what}: what runs is not whole")
    if status not in (0, -1, -2):
        faults.append(f"{what}: the status is {status}")
    left = [name for name in os.listdir(slots) if name != "active" and not is_whole(slots / name)]
    left += files_below(state / "firmware")
    if left:
        faults.append(f"{what}: left behind: {left}")
    return faults


def damaged(site, cuts, flips):
    """(What was done to it, the image), cut at so many sizes and with so many bits flipped."""
    whole = site.image.read_bytes()
    chosen = random.Random(17)
    for size in sorted(chosen.sample(range(len(whole)), cuts)):
        yield f"cut at {size}", whole[:size]
    for bit in sorted(chosen.sample(range(8 * len(whole)), flips)):
        image = bytearray(whole)
        image[bit // 8] ^= 1 << bit % 8
        yield f"bit {bit} flipped", bytes(image)


def faults_of_images(site, images, **more):
    """Has one daemon take image after image, all of which it must refuse."""
    faults = []
    path = site.folder / "damaged"
    with site.daemon().wait_ready() as daemon, daemon.connect() as client:
        for what, image in images:
            path.write_bytes(image)
            reply = client.call("Download", download(path, **more))
            if "error" not in reply:
                faults.append(f"{what}: taken")
                client.call("Download", {"FileType": "Firmware", "TransactionID": reply["result"]["TransactionID"]})
            elif files_below(daemon.state / "firmware"):
                faults.append(f"{what}: left behind")
        if read(client, "SoftwareVersion") != OLD:
            faults.append("another firmware runs")
        if apply(client, fetch(client, site.image)).get("result") != {}:
            faults.append("the good image was refused afterwards")
        client.ended()
    return faults


def killed_at(site, call, number, phase):
    """Runs an upgrade that is killed at the number-th such call of a thread, counted from the fetching ("fetch") or from
    the installation ("apply"). Returns the state folder, and whether it was killed."""
    daemon = site.daemon().wait_ready()
    client = daemon.connect()
    tracer = None

    def trace():
        # Attached once it says so.
        nonlocal tracer
        tracer = subprocess.Popen(
            ["strace", "-f", "-p", str(daemon.pid), "-o", "/dev/null", "-e", f"trace={call}",
             "-e", f"inject={call}:signal=KILL:when={number}"], stdin=subprocess.DEVNULL, stderr=subprocess.PIPE)
        assert b"attached" in tracer.stderr.readline()

    try:
        if phase == "fetch":
            trace()
        reply = fetch(client, site.image)
        if phase == "apply":
            trace()
        apply(client, reply)
        client.ended()
        wait_for(lambda: daemon.process.poll() is not None or daemon.log().count("<6>ready\n") == 2, "the next start")
    except (Closed, OSError):
        pass
    finally:
        client.close()
        killed = daemon.process.poll() is not None or not is_running(daemon)
        daemon.process.kill()
        daemon.process.wait()
        if tracer is not None:
            tracer.stderr.close()
            tracer.wait()
    return daemon.state, killed


def is_running(daemon):
    try:
        with daemon.connect() as client:
            return client.ping()
    except (Closed, OSError):
        return False


def faults_of_kills(site, calls, phases=("apply", "fetch"), most=1000):
    """Kills upgrades at each of these calls until one comes to its end. Returns (faults, number of kills)."""
    faults, kills = [], 0
    for phase in phases:
        for call in calls:
            for number in range(1, most + 1):
                state, killed = killed_at(site, call, number, phase)
                faults += faults_after(site, state, f"killed at {call} {number} of {phase}")
                if not killed:
                    break
                kills += 1
    return faults, kills


def faults_of_a_link_too_early(site):
    """The control: as if the link were replaced before what it leads to is whole. There must be faults."""
    state, _ = killed_at(site, "fsync", 3, "apply")
    slots = state / "slots"
    (slots / "upgrading").unlink()
    (slots / "active").unlink()
    (slots / "active").symlink_to("b")
    return faults_after(site, state, "the link too early")
