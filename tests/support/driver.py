"""A shell without a terminal (tests/support/shell_driver.cpp)."""

import json
import subprocess

from daemon import BUILD


class Shell:
    """Runs from its making until close()."""

    def __init__(self, socket):
        self.process = subprocess.Popen([BUILD / "tests" / "shell_driver", socket], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)

    def run(self, line):
        """(result, text) of one line."""
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()
        text = []
        for answer in self.process.stdout:
            if answer.startswith("== "):
                return int(answer[3:]), "".join(text)
            text.append(answer)
        raise AssertionError(f"the shell has ended at {line!r}")

    def complete(self, line):
        return json.loads(self.run(f"!complete {line}")[1])

    def hint(self, line):
        return self.run(f"!hint {line}")[1].rstrip("\n")

    def close(self):
        self.process.stdin.close()
        assert self.process.wait(60) == 0
        self.process.stdout.close()
