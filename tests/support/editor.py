"""The line editor at a screen: a small shell over it (editor_driver.cpp), seen by a person's eyes."""

import os
import termios
from unicodedata import normalize

from daemon import BUILD
from screen import Screen
from wcwidth import wcwidth

DRIVER = str(BUILD / "tests" / "editor_driver")
PROMPT = "user@ravc:> "
UP, DOWN, LEFT, HOME, END, DELETE = "\033[A", "\033[B", "\033[D", "\033[H", "\033[F", "\033[3~"


def width(character):
    return max(wcwidth(character), 0)


def layout(text, columns):
    """The rows that text takes, and the cursor behind it."""
    rows, column = [""], 0
    for character in text:
        cells = width(character)
        if character == "\n" or column + cells > columns:
            rows.append("")
            column = 0
        if character != "\n":
            rows[-1] += character
            column += cells
        if column >= columns:
            rows.append("")
            column = 0
    return rows, (len(rows) - 1, column)


class Editor(Screen):
    def __init__(self, command, columns, rows, environment):
        settings = {"PATH": os.environ["PATH"], "TERM": "xterm-256color", "INPUTRC": "/dev/null"}
        settings |= {name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}
        super().__init__(command, columns, rows, env=settings | environment)

    def resized(self, columns, rows=24):
        self.columns = columns
        self.resize(columns, rows)

    def shows(self, line, cursor=None, hint="", prompt=PROMPT):
        """Waits until the last rows show prompt, line and hint, and the cursor its place in the line."""
        cursor = len(line) if cursor is None else cursor
        columns = self.screen.columns
        rows = [normalize("NFC", row).rstrip() for row in layout(prompt + line + hint, columns)[0]]
        y, x = layout(prompt + line[:cursor], columns)[1]
        following = (line[cursor:] + hint)[:1]
        if following and following != "\n" and x + width(following) > columns:
            y, x = y + 1, 0

        def holds():
            first = self.screen.cursor.y - y
            shown = [row.rstrip() for row in self.screen.display]
            return (self.takes_keys() and first >= 0 and self.screen.cursor.x == x and
                    shown[first:first + len(rows)] == rows[:len(shown) - first] and
                    not any(shown[first + len(rows):]))

        self.wait(holds, f"{prompt + line + hint!r} with the cursor at {cursor}")
        return self

    def answers(self, text):
        """Waits for a row that shows text, and the prompt below all rows."""
        self.wait(lambda: text in self.rows() and self.rows()[-1] == PROMPT.rstrip(), f"the row {text!r}")

    def modes(self):
        flags = termios.tcgetattr(self.master)
        return flags[0], flags[1], flags[3]


def own_modes():
    master, slave = os.openpty()
    flags = termios.tcgetattr(slave)
    os.close(master)
    os.close(slave)
    return flags[0], flags[1], flags[3]


def pasted(text):
    return f"\033[200~{text}\033[201~"
