"""Typing at terminals of all kinds: widths, resizes, characters, pastes."""

import unicodedata

import pytest

WIDE = "set Device.X='日本語 äöü 😀 e\u0301' y"


@pytest.mark.parametrize("columns", [12, 20, 79, 80, 81, 250])
def test_a_line_at_every_width(ravd, open_shell, columns):
    shell = open_shell(ravd.socket, columns=columns).wait_line("")
    line = "x" * 100
    for count in range(1, len(line) + 1):
        shell.send("x")
        if count % 7 == 0:
            shell.wait_line(line[:count])
    shell.wait_line(line)
    shell.send("\x7f" * 100)
    shell.wait_line("")


def test_a_resize_in_the_middle_of_a_line(ravd, open_shell):
    shell = open_shell(ravd.socket).wait_line("")
    line = "one two three four five six seven"
    shell.send(line)
    shell.wait_line(line)
    for columns in (120, 30, 17, 80):
        shell.resize(columns, 24)
        shell.send("!")
        line += "!"
        shell.wait_line(line)
    shell.send("\x03")
    shell.wait_line("")
    assert shell.text().count("^C") == 1


def test_a_resize_is_no_key_and_no_ctrl_c(ravd, open_shell):
    shell = open_shell(ravd.socket).wait_line("")
    shell.send("abc")
    shell.wait_line("abc").forget()
    shell.resize(40, 20)
    shell.wait(lambda: shell.output, "the line to be drawn again")
    shell.wait_line("abc")
    assert "^C" not in shell.text()


@pytest.mark.parametrize("columns", [20, 80])
def test_characters_of_every_width(ravd, open_shell, columns):
    shell = open_shell(ravd.socket, columns=columns).wait_line("")
    shell.send(WIDE)
    shell.wait_line(unicodedata.normalize("NFC", WIDE))  # as the screen keeps it
    shell.send("\x7f" * 4)
    shell.wait(lambda: (shell.line() or "").endswith("😀 "), "four characters less")


def test_ten_thousand_characters_pasted(ravd, open_shell):
    shell = open_shell(ravd.socket).wait_line("")
    pasted = "nosuch " + "0123456789" * 1000
    shell.send(f"\x1b[200~{pasted}\x1b[201~")
    shell.wait(lambda: shell.takes_keys() and (shell.before_cursor() or "x").endswith("0123456789") or
               shell.rows()[-1].endswith("6789"), "the end of what was pasted")
    shell.send("\r")
    shell.wait_output("nosuch: command not found.")
    shell.wait_line("").send("\x1b[A\x01\x0b\r")  # back up, to the begin, cut
    shell.wait_line("")


def test_pasted_lines_run_one_by_one(ravd, open_shell):
    shell = open_shell(ravd.socket).wait_line("")
    shell.send("\x1b[200~none1\rnone2\rnone3\x1b[201~")
    shell.wait_text("none1: command not found.")
    shell.wait_text("none2: command not found.")
    shell.wait_line("none3").send("\r")
    shell.wait_text("none3: command not found.")


def test_what_is_typed_ahead_is_run(ravd, open_shell):
    shell = open_shell(ravd.socket)
    shell.send("none1\rnone2\rhalf")
    shell.wait_text("none1: command not found.")
    shell.wait_text("none2: command not found.")
    shell.wait_line("half")
