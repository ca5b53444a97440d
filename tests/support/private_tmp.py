"""A /tmp of a test's own: ravc keeps its history under a fixed name there, and tests run side by side."""

import contextlib
import fcntl
import os
import pathlib
import shutil
import subprocess

# Makes each folder to keep visible below the new /tmp, puts that in place, and becomes the command.
SCRIPT = """
set -e
private=$1
shift
while [ "$1" != -- ]; do
    mkdir -p "$private${1#/tmp}"
    mount --bind "$1" "$private${1#/tmp}"
    shift
done
shift
mount --rbind "$private" /tmp
exec "$@"
"""

HISTORIES = (".ravc.hist", ".ravc.lua.hist")

UNSHARE = ["unshare", "--mount"] if os.getuid() == 0 else ["unshare", "--mount", "--map-current-user", "--keep-caps"]


def is_allowed():
    command = [*UNSHARE, "mount", "--bind", "/tmp", "/tmp"]
    return subprocess.run(command, capture_output=True, check=False).returncode == 0


class PrivateTmp:
    """prefix: what to put in front of a command; folder: where its /tmp is found from outside."""

    def __init__(self, folder, prefix):
        self.folder = folder
        self.prefix = prefix
        self.history = folder / ".ravc.hist"


def remove(path):
    """Whatever a test has left there."""
    if path.is_dir() and not path.is_symlink():
        shutil.rmtree(path)
    else:
        path.unlink(missing_ok=True)


@contextlib.contextmanager
def private_tmp(folder, *keep):
    """A PrivateTmp in folder, in which the folders to keep have the names they have outside. Where mounting is not
    allowed it is the real /tmp, for one test at a time, without the histories that lie there."""
    if is_allowed():
        folder.mkdir()
        kept = [str(path) for path in map(pathlib.Path.resolve, keep) if path.is_relative_to("/tmp")]
        yield PrivateTmp(folder, [*UNSHARE, "sh", "-c", SCRIPT, "sh", str(folder), *kept, "--"])
        return
    with open("/tmp/.ravc.test.lock", "w", encoding="ascii") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        real = PrivateTmp(pathlib.Path("/tmp"), [])
        asides = {real.folder / name: real.folder / f".ravc.test.aside.{os.getpid()}.{n}"
                  for n, name in enumerate(HISTORIES)}
        for history, aside in asides.items():
            with contextlib.suppress(FileNotFoundError):
                history.rename(aside)
        try:
            yield real
        finally:
            for history, aside in asides.items():
                remove(history)
                with contextlib.suppress(FileNotFoundError):
                    aside.rename(history)
