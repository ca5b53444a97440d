"""Whether system calls can be watched and failed."""

import subprocess


def can_trace():
    """Whether strace is there and may be used here."""
    try:
        return subprocess.run(["strace", "-o", "/dev/null", "true"], capture_output=True, check=False).returncode == 0
    except FileNotFoundError:
        return False
