"""A shell in Lua mode, as its screen and its output tell of it."""

import re

from screen import PROMPT

ESCAPE = re.compile(r"\x1b(\[[0-9;?]*[ -/]*[@-~]|[^\[])")


def lua_prompt(shell):
    """The prompt on the last row, without the user's name; None when there is none."""
    match = PROMPT.match((shell.rows() or [""])[-1] + " ")
    return match[0].partition("@")[2] if match else None


def code_of(output):
    """Output without escape sequences, carriage returns, and the blanks by which a row is begun."""
    text = output.decode() if isinstance(output, bytes) else output
    return ESCAPE.sub("", text).replace(" " * 80 + "\r", "").replace("\r", "")


def plain(output):
    """What enter() gives, between the line that was entered and the prompt after it."""
    return code_of(output[output.index("\x1b[?2004l"):output.rindex("\x1b[?2004h")])


def enter_lines(shell, *lines):
    """Enters the lines of one statement and waits for the prompt after it."""
    shell.forget()
    shell.send("".join(f"{line}\r" for line in lines))
    shell.wait(lambda: shell.output.count(b"\x1b[?2004l") == len(lines), "the end of the statement")
    shell.wait_line("")
