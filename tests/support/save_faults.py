"""What can go wrong while a configuration is saved, done to a real daemon again and again: kills, power cuts, damage.

Each harness returns a Count. Its argument `faulty` puts a fault back, which it must then find.
"""

import collections
import json
import os
import random
import re
import shutil
import signal
import sqlite3
import threading

from daemon import Daemon, wait_for
from processes import children

CONTACT, LOCATION = "Device.System.Contact", "Device.System.Location"


class Count(collections.Counter):
    """How many runs there were, and how many of each kind were bad."""

    BAD = ("lost", "mixed", "corrupt", "crashed", "unkept")

    def bad(self):
        return sum(self[kind] for kind in self.BAD)

    def __str__(self):
        return ", ".join(f"{self[kind]} {kind}" for kind in ("runs", "acknowledged", *self.BAD))


def set_both(client, number):
    """Both parameters become the number, in one request."""
    client.result("SetParameterValues", {"ParameterList": [
        {"Name": name, "Value": str(number)} for name in (CONTACT, LOCATION)]})


def save_first(folder, state, **params):
    """A state folder that has been saved into once, both numbers 1. params: of SaveConfig."""
    with Daemon(folder / "seed", state=state) as daemon, daemon.wait_ready().connect() as client:
        set_both(client, 1)
        client.result("SaveConfig", params)


def both(client):
    reply = client.result("GetParameterValues", {"ParameterNames": [CONTACT, LOCATION]})
    return [int(pair["Value"] or 0) for pair in reply["ParameterList"]]


def judge(count, found, acknowledged, tried):
    """found: the two numbers that were saved."""
    count["runs"] += 1
    if found[0] != found[1]:
        count["mixed"] += 1
    elif not acknowledged <= found[0] <= tried:
        count["lost"] += 1


def saved_numbers(database):
    """The two numbers that a database says were saved; None when it is damaged."""
    try:
        with sqlite3.connect(database) as connection:
            if connection.execute("PRAGMA quick_check(1)").fetchone() != ("ok",):
                return None
            row = connection.execute("SELECT document FROM configuration WHERE name = ''").fetchone()
        connection.close()
        values = json.loads(row[0])["Values"] if row else {}
        return [int(values.get(name) or 0) for name in (CONTACT, LOCATION)]
    except (sqlite3.DatabaseError, ValueError):
        return None


def kill_while_saving(folder, rounds, seed=1, faulty=False):
    """kill -9 at random moments. faulty: a save counts as acknowledged when it is asked for."""
    count, chance, number = Count(), random.Random(seed), 0
    for n in range(rounds):
        daemon = Daemon(folder / f"run{n}", state=folder / "state").wait_ready()
        killer = threading.Timer(chance.uniform(0.01, 0.3), daemon.process.kill)
        with daemon.connect() as client:
            found = both(client)
            if n:
                judge(count, found, acknowledged, number)
            acknowledged = number = found[0]
            killer.start()
            try:
                while True:
                    number += 1
                    set_both(client, number)
                    acknowledged = number if faulty else acknowledged
                    client.result("SaveConfig")
                    acknowledged = number
                    count["acknowledged"] += 1
            except Exception:  # the connection ends with the daemon
                killer.join()
                daemon.process.wait()
        shutil.rmtree(daemon.folder)
    return count


class Traced(Daemon):
    """A daemon under strace."""

    def __init__(self, folder, options, **places):
        self.strace = ["strace", "-f", "-qq", *map(str, options)]
        super().__init__(folder, **places)

    def command(self, arguments):
        return [*self.strace, *arguments]

    def pids(self):
        """The traced daemon's own, once it runs."""
        return children(self.pid)

    def end(self):
        for pid in self.pids():
            os.kill(pid, signal.SIGTERM)
        self.process.wait()


CALLS = ("pwrite64", "write", "fdatasync", "fsync", "ftruncate", "unlink", "rename", "openat", "close")


def kill_at_every_call(folder, calls=CALLS, step=1, faulty=False):
    """kill -9 at each system call of saving once, restoring and resetting. faulty: a save counts when it is asked for."""
    count = Count()
    first = folder / "first"
    save_first(folder, first, RestorePointName="one")
    for call in calls:
        place = 1
        while kill_at(folder, first, call, place, count, faulty):
            place += step
    return count


def kill_at(folder, first, call, place, count, faulty):
    """One run. Returns whether the daemon was killed before its work was done."""
    state, run = folder / "state", folder / "run"
    shutil.rmtree(state, ignore_errors=True)
    shutil.rmtree(run, ignore_errors=True)
    shutil.copytree(first, state)
    daemon = Traced(run, ["-o", "/dev/null", "-e", f"trace={call}", "-e", f"inject={call}:signal=KILL:when={place}"],
                    state=state)
    acknowledged, killed = 1, False
    try:
        daemon.wait_ready()
        with daemon.connect() as client:
            set_both(client, 2)
            acknowledged = 2 if faulty else 1
            client.result("SaveConfig", {"RestorePointName": "two"})
            acknowledged = 2
            client.result("Execute", {"Path": "Device.LocalConfig.Restore",
                                      "ParameterList": [{"Name": "Name", "Value": "one"}]})
        daemon.end()
    except (AssertionError, Exception):  # it was killed at that call
        killed = True
        daemon.process.kill()
        daemon.process.wait()
    with Daemon(folder / "again", state=state) as again, again.wait_ready().connect() as client:
        judge(count, both(client), acknowledged, 2)
        count["acknowledged"] += acknowledged == 2
        count["corrupt"] += "damaged; put aside" in again.log()
    return killed


TRACED = "pwrite64,write,ftruncate,fsync,fdatasync,unlink,rename,openat,writev,sendto,sendmsg"
LINE = re.compile(r"^\d+ +(\w+)\((.*)\) += (-?\d+)")


def unhex(text):
    return bytes.fromhex(text.replace("\\x", ""))


def operations(trace, state):
    """What a trace says was done to the files of the state folder, and when replies were sent."""
    for line in trace.read_text(errors="replace").splitlines():
        match = LINE.match(line)
        if not match or int(match[3]) < 0:
            continue
        call, rest = match[1], match[2]
        texts = [unhex(text) for text in re.findall(r'"((?:\\x..)*)"', rest)]
        where = re.match(r"\d+<((?:\\x..)*)>", rest)
        path = unhex(where[1]).decode() if where else texts[0].decode() if call in ("unlink", "rename", "openat") else ""
        if call in ("writev", "sendto", "sendmsg", "write") and any(b'"result":{}' in text for text in texts):
            yield ("reply",)
        if not path.startswith(str(state)):
            continue
        name = path[len(str(state)) + 1:]
        if call == "pwrite64":
            yield ("write", name, int(rest.rsplit(",", 1)[1], 0), texts[0])
        elif call == "ftruncate":
            yield ("truncate", name, int(rest.rsplit(",", 1)[1], 0))
        elif call in ("fsync", "fdatasync"):
            yield ("sync", name)
        elif call == "unlink":
            yield ("unlink", name)
        elif call == "rename":
            yield ("rename", name, texts[1].decode()[len(str(state)) + 1:])
        elif call == "openat" and "O_CREAT" in rest:
            yield ("create", name)


class Disk:
    """Files as a power cut may leave them: what was synced, and any part of what was not."""

    SECTOR = 512

    def __init__(self, folder, synced=True):
        self.durable = {path.name: path.read_bytes() for path in folder.iterdir() if path.is_file()}
        self.names = {name: name for name in self.durable}  # in the folder -> the file that it is
        self.files = dict(self.durable)
        self.pending = []  # since the last sync of what they are about
        self.counts_syncs = synced

    def apply(self, operation):
        if operation[0] == "sync":
            if self.counts_syncs:
                self.sync(operation[1])
        elif operation[0] != "reply":
            self.pending.append(operation)

    def sync(self, name):
        """name: a file's, or "" for the folder. A file's sync also keeps the name it was made under."""
        kept = []
        for operation in self.pending:
            about_names = operation[0] in ("unlink", "rename", "create")
            settled = about_names if name == "" else not about_names and operation[1] == name
            if settled or (operation[0] == "create" and operation[1] == name):
                self.settle(self.durable, operation)
            else:
                kept.append(operation)
        self.pending = kept

    @staticmethod
    def settle(files, operation):
        kind, name = operation[:2]
        if kind == "write":
            data = bytearray(files.get(name, b""))
            offset, text = operation[2:]
            data.extend(bytes(max(0, offset + len(text) - len(data))))
            data[offset:offset + len(text)] = text
            files[name] = bytes(data)
        elif kind == "truncate":
            files[name] = files.get(name, b"")[:operation[2]].ljust(operation[2], b"\0")
        elif kind == "unlink":
            files.pop(name, None)
        elif kind == "rename" and name in files:
            files[operation[2]] = files.pop(name)
        elif kind == "create":
            files.setdefault(name, b"")

    def cut(self, chance):
        """The files after a power cut: each write that was not synced is there, gone, or torn."""
        files = dict(self.durable)
        for operation in self.pending:
            fate = chance.random()
            if fate < 0.4:
                continue
            if operation[0] == "write" and fate > 0.8 and len(operation[3]) > self.SECTOR:
                size = chance.randrange(1, len(operation[3]) // self.SECTOR + 1) * self.SECTOR
                operation = (*operation[:3], operation[3][:size])
            self.settle(files, operation)
        return files


def power_cuts(folder, cuts, seed=1, faulty=False):
    """Power cuts after every operation of a save, each with `cuts` outcomes. faulty: the disk takes no notice of syncs."""
    count, chance = Count(), random.Random(seed)
    state = folder / "state"
    save_first(folder, state)
    trace = folder / "trace"
    daemon = Traced(folder / "run", ["-o", trace, "-e", f"trace={TRACED}", "-xx", "-y", "-s", 10000000], state=state)
    disk = Disk(state, not faulty)
    daemon.wait_ready()
    with daemon.connect() as client:
        set_both(client, 2)
        client.result("SaveConfig")
        client.result("SaveConfig", {"RestorePointName": "point"})
    daemon.end()
    image = folder / "image"
    replies = 0
    for operation in operations(trace, state):
        disk.apply(operation)
        replies += operation[0] == "reply"
        for _ in range(cuts):
            shutil.rmtree(image, ignore_errors=True)
            image.mkdir()
            for name, data in disk.cut(chance).items():
                if name.startswith("ravd.db") and "good" not in name:
                    (image / name).write_bytes(data)
            found = saved_numbers(image / "ravd.db")
            if found is None:
                count["runs"] += 1
                count["corrupt"] += 1
            else:
                judge(count, found, 2 if replies >= 1 else 1, 2)
                count["acknowledged"] += replies >= 1
    return count


def damage(path, chance):
    """Does to a file what broken storage does."""
    kind = chance.randrange(10)
    if kind == 0:
        path.write_bytes(b"")
    elif kind < 4:
        os.truncate(path, chance.randrange(path.stat().st_size))
    else:
        data = bytearray(path.read_bytes())
        for _ in range(chance.randint(1, 16)):
            data[chance.randrange(len(data))] = chance.randrange(256)
        path.write_bytes(data)


def damaged_databases(folder, rounds, seed=1, faulty=False):
    """A daemon started on damaged databases has what was saved, or says why not. faulty: the copy is damaged as well."""
    count, chance = Count(), random.Random(seed)
    first = folder / "first"
    save_first(folder, first)
    state = folder / "state"
    for n in range(rounds):
        shutil.rmtree(state, ignore_errors=True)
        shutil.copytree(first, state)
        damage(state / "ravd.db", chance)
        if faulty:
            (state / "ravd.db").write_bytes(b"no database at all")
            (state / "ravd.db.good").write_bytes(b"no database either")
        daemon = Daemon(folder / f"run{n}", state=state)
        wait_for(lambda daemon=daemon: "<6>ready" in daemon.log() or daemon.process.poll() is not None, "a start")
        if daemon.process.poll() is not None:
            count["runs"] += 1
            count["crashed"] += daemon.process.returncode != 1
            count["refused"] += 1
        else:
            with daemon.connect() as client:
                judge(count, both(client), 1, 1)
            count["unkept"] += "damaged; put aside" in daemon.log() and not list(state.glob("ravd.db.corrupt-*"))
            daemon.stop()
        shutil.rmtree(daemon.folder)
    return count

