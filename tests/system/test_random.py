"""Random commands of two shells at once against one ravd, each compared with a model of the tree in a few lines.

RAV_SEED repeats a run; RAV_STEPS makes it longer or shorter.
"""

import os
import random
import re

import pytest
from daemon import SOURCE
from driver import Shell

STEPS = int(os.environ.get("RAV_STEPS", "10000"))
SEED = int(os.environ.get("RAV_SEED", str(random.SystemRandom().randrange(1 << 32))))

# name: (default, is valid, how the shell writes a value)
KINDS = {
    "Count": (5, lambda v: -10 <= v <= 100),
    "Number": (0, lambda v: 0 <= v <= 1000),
    "Text": ("", lambda v: len(v) <= 8),
    "Label": ("new", lambda v: len(v) <= 8),
    "Flag": (False, lambda v: True),
    "On": (True, lambda v: True),
    "Fixed": ("", None),
}
LEVELS = {"": ["Count", "Text", "Flag", "Fixed"], "Row": ["Number", "Label"], "Cell": ["On"]}
CHILD = {"": "Row", "Row": "Cell", "Cell": None}


def shown(value):
    return f"'{value}'" if isinstance(value, str) else str(value).lower()


class Node:
    """The device, a row or a cell: parameters and one table at most."""

    def __init__(self, kind):
        self.kind = kind
        self.values = {name: KINDS[name][0] for name in LEVELS[kind]}
        self.table = {}
        self.highest = 0

    def add(self):
        self.highest += 1
        self.table[self.highest] = Node(CHILD[self.kind])
        return self.highest

    def rows(self, prefix=""):
        """(name, value) of every parameter below, as the daemon orders them."""
        for name, value in self.values.items():
            yield prefix + name, value
        for number, node in sorted(self.table.items()):
            yield from node.rows(f"{prefix}{CHILD[self.kind]}.{number}.")


class Play:
    def __init__(self, shells):
        self.random = random.Random(SEED)
        self.shells = shells
        self.device = Node("")
        self.here = {shell: "" for shell in shells}

    def places(self):
        """(path, node) of every instance there is, the device first."""
        found = [("Device", self.device)]
        for number, row in sorted(self.device.table.items()):
            found.append((f"Device.Row.{number}", row))
            found += [(f"Device.Row.{number}.Cell.{cell}", node) for cell, node in sorted(row.table.items())]
        return found

    def typed(self, shell, path):
        """A path as somebody in that place might type it."""
        here = self.here[shell]
        if here and path.startswith(here + ".") and self.random.random() < 0.5:
            return path[len(here) + 1:]
        return ":" + path

    def value(self, name):
        kind = KINDS[name][0]
        if isinstance(kind, bool):
            return self.random.choice([True, False, "maybe"])
        if isinstance(kind, int):
            return self.random.choice([self.random.randint(-20, 1100), self.random.randint(0, 100), "x1"])
        return self.random.choice(["", "a", "eight___", "nine_____", "b c", "ä"])

    def missing(self):
        """A row that is not there, never was or is no more."""
        return f"Device.Row.{self.random.randint(self.device.highest + 1, self.device.highest + 50)}"

    # Every step gives (line, expected result, expected text or pattern).

    def step_cd(self, shell):
        path, node = self.random.choice(self.places())
        if self.random.random() < 0.1:
            line = "cd :Device.Nope"
            return line, -2, "cd: :Device.Nope: no such node\n"
        if self.random.random() < 0.2:
            self.here[shell] = self.here[shell].rpartition(".")[0]
            return "cd <", 0, ""
        line = "cd " + self.typed(shell, path)
        self.here[shell] = path
        return line, 0, ""

    def step_cat_one(self, shell):
        path, node = self.random.choice(self.places())
        name = self.random.choice(list(node.values))
        return f"cat {self.typed(shell, f'{path}.{name}')}", 0, f" = {shown(node.values[name])}\n"

    def step_cat_all(self, shell):
        path, node = self.random.choice(self.places())
        rows = list(node.rows())
        width = max(len(name) for name, _ in rows)
        text = "".join(f"{name:<{width}} = {shown(value)}\n" for name, value in rows)
        return f"cat {self.typed(shell, path)}", 0, text

    def step_cat_missing(self, shell):
        path = self.missing()
        return f"cat :{path}.Label", 0, f'[9005] Invalid parameter name\n{path}.Label: "9005 Invalid parameter name"\n'

    def step_ls(self, shell):
        path, node = self.random.choice([place for place in self.places() if CHILD[place[1].kind]])
        table = f"{path}.{CHILD[node.kind]}"
        names = [f"{number}." for number in sorted(node.table)] + ["#template.", "max_instance", "."]
        result, text = shell.run(f"ls -l :{table}")
        assert result == 0
        assert sorted(line.split()[-1] for line in text.splitlines()[1:]) == sorted(names), text
        shell.run("!rebuild")  # what the other shell did is told by events, which this one does not read
        self.here[shell] = ""
        names = sorted(f":{table}.{number}." for number in node.table) + [f":{table}.max_instance"]
        return f"ls :{table}", 0, "".join(name + "\n" for name in sorted(names))

    def step_attr(self, shell):
        path, node = self.random.choice(self.places())
        name = self.random.choice(list(node.values))
        pattern = rf"Canonical path:     :{path}\.{name}\nType:               \w+\n(.|\n)*"
        return f"attr {self.typed(shell, f'{path}.{name}')}", 0, re.compile(pattern)

    def step_max_instance(self, shell):
        path, node = self.random.choice([place for place in self.places() if CHILD[place[1].kind]])
        return f"cat :{path}.{CHILD[node.kind]}.max_instance", 0, f" = {max(node.table, default=0)}\n"

    def step_set(self, shell):
        path, node = self.random.choice(self.places())
        name = self.random.choice([name for name in node.values if name != "Fixed"])
        value = self.value(name)
        typed = self.typed(shell, f"{path}.{name}")
        text = str(value).lower() if isinstance(value, bool) else str(value)
        echo = f"key = {typed}, value = {text}\n"
        line = f"set '{typed}={text}'"
        if isinstance(value, str) and not isinstance(KINDS[name][0], str):
            return line, -1, f"{echo}set: {typed}: invalid value {text}.\nset: no argument.\n"
        if not KINDS[name][1](value):
            pattern = re.escape(f'{echo}[9003] Invalid arguments\n{path}.{name}: "9007 Invalid parameter value: ') + ".*\n"
            return line, 0, re.compile(pattern)
        node.values[name] = value
        return line, 0, f"{echo}Status: OK\n"

    def step_set_two_of_which_one_is_bad(self, shell):
        pattern = re.escape("key = :Device.Count, value = 7\nkey = :Device.Text, value = far too long\n"
                            '[9003] Invalid arguments\nDevice.Text: "9007 Invalid parameter value: ') + ".*\n"
        return "set :Device.Count=7 ':Device.Text=far too long'", 0, re.compile(pattern)

    def step_add(self, shell):
        path, node = self.random.choice([place for place in self.places() if CHILD[place[1].kind]])
        if len(node.table) >= 5:
            return self.step_cat_one(shell)
        number = node.add()
        return f"add :{path}.{CHILD[node.kind]}", number, f"Instance number: {number}\nStatus: OK\n"

    def step_del(self, shell):
        parents = [(path, node) for path, node in self.places() if node.table]
        if not parents:
            return self.step_add(shell)
        path, node = self.random.choice(parents)
        number = self.random.choice(list(node.table))
        del node.table[number]
        return f"del :{path}.{CHILD[node.kind]}.{number}", 0, "Status: OK\n"

    def step(self):
        shell = self.random.choice(self.shells)
        steps = [getattr(self, name) for name in dir(self) if name.startswith("step_")]
        line, result, text = self.random.choice(steps)(shell)
        answer = shell.run(line)
        assert answer[0] == result, (line, answer)
        if isinstance(text, str):
            assert answer[1] == text, line
        else:
            assert text.fullmatch(answer[1]), (line, answer[1])


@pytest.mark.parametrize("seed", [SEED])  # shows it in the report
def test_random_commands(start_ravd, seed):
    print(f"RAV_SEED={seed} repeats this run")
    ravd = start_ravd(schema=SOURCE / "tests" / "data" / "random_model")
    shells = [Shell(ravd.socket), Shell(ravd.socket)]
    play = Play(shells)
    for _ in range(STEPS):
        play.step()
    for shell in shells:
        shell.close()
