"""A program at a pseudo-terminal, and the screen that a person would see."""

import errno
import fcntl
import os
import re
import select
import signal
import struct
import subprocess
import termios
import time

import pyte
from rpc import DEADLINE

PROMPT = re.compile(r"^(\S+@)?ravc[^ :]*:\S*> ")


class Screen:
    """Runs command at a terminal of its own; what it writes is drawn on a screen, and kept as it came in output."""

    def __init__(self, command, columns=80, rows=24, **settings):
        self.master, slave = os.openpty()
        self.screen = pyte.Screen(columns, rows)
        self.stream = pyte.ByteStream(self.screen)
        self.output = b""
        self.hung_up = False
        self.resize(columns, rows)
        self.process = subprocess.Popen(command, stdin=slave, stdout=slave, stderr=slave, start_new_session=True,
                                        preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0), **settings)
        os.close(slave)

    def resize(self, columns, rows):
        self.screen.resize(rows, columns)
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def keep_on_ctrl_c(self):
        """Ctrl-C drops nothing that is on its way; by default the terminal forgets what it has not shown by then."""
        modes = termios.tcgetattr(self.master)
        modes[3] |= termios.NOFLSH
        termios.tcsetattr(self.master, termios.TCSANOW, modes)

    def send(self, keys):
        """Types keys, a text or bytes; reads meanwhile, so that neither side waits for the other for ever."""
        data = keys.encode() if isinstance(keys, str) else keys
        while data:
            _, writable, _ = select.select([], [self.master], [], 0.01)
            if writable:
                data = data[os.write(self.master, data[:512]):]
            self.read(0)

    def read(self, seconds):
        """Draws what has come, or comes within so many seconds. Returns whether anything did."""
        if self.hung_up or not select.select([self.master], [], [], seconds)[0]:
            return False
        try:
            data = os.read(self.master, 1 << 16)
        except OSError as error:
            assert error.errno == errno.EIO
            data = b""
        self.hung_up = not data
        self.output += data
        self.stream.feed(data)
        return bool(data)

    def wait(self, condition, what):
        """Reads until condition() is true, and returns its value."""
        deadline = time.monotonic() + DEADLINE
        while not (value := condition()):
            assert time.monotonic() < deadline and not self.hung_up, f"waited in vain for {what}; there is\n{self}"
            self.read(0.05)
        return value

    def rows(self):
        """What the rows show, without blanks at their ends and without empty rows at the end."""
        rows = [row.rstrip() for row in self.screen.display]
        while rows and not rows[-1]:
            rows.pop()
        return rows

    def text(self):
        return "\n".join(self.rows())

    def __str__(self):
        cursor = self.screen.cursor
        return f"{self.text()}\n(cursor: row {cursor.y}, column {cursor.x})"

    def wait_text(self, text):
        self.wait(lambda: text in self.text(), repr(text))

    def wait_output(self, text):
        """Waits for what may have scrolled off the screen."""
        self.wait(lambda: text.encode() in self.output, repr(text))

    def forget(self):
        """Empties output."""
        self.read(0)
        self.output = b""

    def cells(self, row, begin, end):
        """The characters of a part of a row; the second half of a wide one is no character."""
        return "".join(self.screen.buffer[row][column].data for column in range(begin, end))

    def before_cursor(self):
        """The text from the last prompt on, prompt included, up to the cursor; None when there is no prompt."""
        y, x = self.screen.cursor.y, self.screen.cursor.x
        first = next((row for row in range(y, -1, -1) if PROMPT.match(self.cells(row, 0, self.screen.columns))), None)
        if first is None:
            return None
        return "".join(self.cells(row, 0, x if row == y else self.screen.columns) for row in range(first, y + 1))

    def line(self):
        """What is typed, up to the cursor; None when there is no prompt."""
        shown = self.before_cursor()
        match = PROMPT.match(shown) if shown else None
        return shown[match.end():] if match else None

    def takes_keys(self):
        """Whether the terminal gives every key at once."""
        return not termios.tcgetattr(self.master)[3] & termios.ICANON

    def hides_keys(self):
        """Whether whole lines are read and not echoed."""
        modes = termios.tcgetattr(self.master)[3]
        return modes & termios.ICANON and not modes & termios.ECHO

    def wait_line(self, line):
        """Waits until the shell waits for keys and shows the prompt and line, the cursor at its end."""
        self.wait(lambda: self.takes_keys() and self.line() == line, f"the line {line!r}")
        return self

    def enter(self, line):
        """Enters a line and waits for the prompt after it; gives what was written meanwhile."""
        self.forget()
        self.send(line + "\r")
        self.wait_output("\033[?2004l")
        self.wait_line("")
        return self.output.decode()

    def wait_end(self):
        """Reads to the end and returns the exit status."""
        self.wait(lambda: self.hung_up, "the end")  # a program's last words may come later than its end
        return self.process.wait(DEADLINE)

    def close(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGKILL)
        self.process.wait()
        os.close(self.master)
