"""Who runs below a process."""

import contextlib
import pathlib

from daemon import wait_for


def children(pid):
    """The numbers of a process's children; none where it has ended."""
    with contextlib.suppress(FileNotFoundError):
        return [int(child) for child in pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]
    return []


def is_running(program, pid):
    """Whether a child of the process, or a child of one, is that program by now."""
    below = [child for parent in children(pid) for child in (parent, *children(parent))]
    with contextlib.suppress(FileNotFoundError):
        return any(pathlib.Path(f"/proc/{each}/comm").read_text() == program + "\n" for each in below)
    return False


def wait_for_program(program, pid):
    """Waits until the program runs: the system's shell forgets a Ctrl-C that comes before it has started what it then
    waits for, or becomes."""
    wait_for(lambda: is_running(program, pid), f"{program} to run")
