"""The line editor: pasting, output, terminals that can do little, and no terminal."""

import os
import subprocess

import pytest
from editor import DRIVER, HOME, LEFT, PROMPT, pasted

# Pasting


def checksum(text):
    value = 0
    for byte in text.encode():
        value = (value * 31 + byte) % (1 << 32)
    return f"LONG {len(text)} {value:08x}"


@pytest.mark.parametrize("marked", (True, False))
def test_ten_thousand_characters_are_pasted(editor, marked):
    text = "".join(chr(97 + i * 7 % 26) for i in range(10000))
    editor.send((pasted(text) if marked else text) + "\r")
    editor.answers(checksum(text))


def test_pasted_lines_run_one_by_one_and_hold_no_keys(editor):
    editor.send(pasted("xls\tDev ab\r\x01xtwo\x1b[D\x15\rxthr"))
    editor.wait_text("LINE[xls Dev ab]")
    editor.wait_text("LINE[xtwo]")
    editor.shows("xthr")
    editor.send("ee\r")
    editor.answers("LINE[xthree]")


# Output


def test_a_progress_bar(start_editor):
    editor = start_editor(columns=40).shows("")
    editor.send("barSending\r")
    editor.answers("Sending [" + "#" * 22 + "] 100%")
    assert (" [" + "#" * 11 + "-" * 11 + "]  50%").encode() in editor.output
    label = "x" * 50
    editor.send(f"bar{label}\r")
    editor.answers("x" * 32 + " 100%")


def test_a_list_in_columns(start_editor):
    editor = start_editor(columns=60).shows("")
    editor.send("list\r")
    editor.wait_text("DeviceInfo.  漢字一覧.    Parameter4   Parameter9\nEthernet.    Parameter0   Parameter5   Parameter10\n")


# Odd terminals, no terminal


@pytest.mark.parametrize("terminal", ("dumb", "no-such-terminal", ""))
def test_a_dumb_terminal(start_editor, events, terminal):
    editor = start_editor("--events", events, TERM=terminal)
    editor.wait_text(PROMPT.rstrip())
    editor.send("echo ab" + LEFT + "c")
    editor.wait_text(PROMPT + "echo acb")
    events.write_text("now\n")
    editor.wait_text("EVENT now\n" + PROMPT + "echo acb")
    editor.send("\r")
    editor.wait_text("LINE[echo acb]")
    assert b"\033" not in editor.output


@pytest.mark.parametrize("environment", ({"LC_ALL": "C"}, {"LANG": "tr_TR.UTF-8"}, {}))
def test_texts_are_utf8_in_every_locale(start_editor, environment):
    editor = start_editor(**environment).shows("")
    editor.send("xé漢" + LEFT + "ö")
    editor.shows("xéö漢", 3)
    editor.send("\r")
    editor.answers("LINE[xéö漢]")


def test_bytes_that_come_one_by_one(editor):
    for byte in "x漢é".encode() + b"\033[D":
        editor.send(bytes([byte]))
        editor.wait(lambda: editor.takes_keys() and not editor.read(0), "quiet")
    editor.shows("x漢é", 2)
    editor.send(b"\xff\xc3\x28\x80ok\xc2\x9b")
    editor.shows("x漢(oké", 5)


def run(stdin, *arguments):
    return subprocess.run([DRIVER, *arguments], input=stdin, capture_output=True, timeout=60, check=True).stdout


def test_lines_from_a_pipe():
    assert run("eins\nzwei é\r\n\ndrei".encode()).decode() == "LINE[eins]\nLINE[zwei é]\nLINE[drei]\nLEFT\n"
    assert run(b"") == b"LEFT\n"
    assert run(b"list\n").decode().split() == ["DeviceInfo.", "Ethernet.", "Users.", "WiFi.", "Wörter.", "漢字一覧.",
                                               *(f"Parameter{i}" for i in range(12)), "LEFT"]
    assert run(b"bar\n") == b"\nLEFT\n"


def test_a_terminal_whose_output_is_a_pipe(start_editor, tmp_path):
    editor = start_editor("-c", f"{DRIVER} > {tmp_path}/out", command="/bin/sh")
    editor.send("one\r\x04")
    editor.wait_end()
    assert (tmp_path / "out").read_text() == "LINE[one]\nLEFT\n"


def test_a_terminal_that_hangs_up(start_editor):
    editor = start_editor("-c", "trap '' HUP; exec " + DRIVER, command="/bin/sh").shows("")
    editor.send("half")
    editor.shows("half")
    keeper = os.open("/dev/null", os.O_RDWR)
    os.dup2(keeper, editor.master)
    os.close(keeper)
    assert editor.process.wait(20) == 0


def test_control_d(editor):
    editor.send("ab" + HOME + "\x04")
    editor.shows("b", 0)
    editor.send("\x04")
    editor.shows("", 0)
    editor.send("\x04")
    assert editor.wait_end() == 0
    assert editor.rows() == [PROMPT.rstrip(), "LEFT"]
