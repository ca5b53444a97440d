"""The line editor: hints and completion."""

import re

import pytest
from editor import END, LEFT, PROMPT

# Hints


def test_a_hint_stands_behind_the_line_while_the_cursor_is_at_its_end(editor):
    editor.send("ls D")
    editor.shows("ls D", hint="evice.")
    editor.send(LEFT)
    editor.shows("ls D", 3)
    editor.send(END)
    editor.shows("ls D", hint="evice.")
    editor.send("\r")
    editor.answers("LINE[ls D]")
    assert "evice" not in editor.text()


def test_a_hint_wraps_and_goes(start_editor):
    editor = start_editor(columns=21).shows("")
    editor.send("ls Device.Dev")
    editor.shows("ls Device.Dev", hint="iceInfo.")
    editor.send("\x7f")
    editor.shows("ls Device.De", hint="viceInfo.")
    editor.send("\x15")
    editor.shows("")


NAMES = ("Device.", "DeviceInfo.")


def hint_of(line):
    """What is missing of the name that the line's last part begins."""
    parts = line.removeprefix("ls ").split(".")
    return NAMES[len(parts) - 1][len(parts[-1]):] if len(parts) <= len(NAMES) and parts[-1] else ""


@pytest.mark.parametrize("columns", (*range(20, 36), 80))
def test_hints_while_typing_and_taking_back(start_editor, columns):
    """Rows that are full with the line, and with its hint only, and everything in between."""
    editor = start_editor(columns=columns).shows("")
    editor.send("ls ")
    editor.shows("ls ", hint="Device.")
    line = "ls "
    for keys in ("D", "ev", "x", "\x7f", "ic", "e.De", "viceInfo", "\x7f", "o", "."):
        for key in keys:
            line = line[:-1] if key == "\x7f" else line + key
            editor.send(key)
            editor.shows(line, hint="" if "x" in line else hint_of(line))


def test_a_hint_has_its_colour(editor):
    editor.send("ls D")
    editor.shows("ls D", hint="evice.")
    cell = editor.screen.buffer[editor.screen.cursor.y][editor.screen.cursor.x]
    typed = editor.screen.buffer[editor.screen.cursor.y][editor.screen.cursor.x - 1]
    assert (cell.data, typed.data) == ("e", "D")
    assert cell.fg != typed.fg == "default"


def test_no_colour_where_they_are_off(editor):
    editor.send("plain\r")
    editor.wait(lambda: editor.rows() == [PROMPT + "plain", PROMPT.rstrip()], "the prompt")
    editor.forget()
    editor.send("ls De\t\t")
    editor.wait_text("WiFi.")
    assert b"\033[38" not in editor.output


def test_a_hint_is_asked_for_once_a_key_and_not_while_more_is_typed(editor):
    editor.send("xyz")
    editor.shows("xyz")
    editor.send("\x15hints\r")
    editor.wait_text("HINTS ")
    before = int(re.search(r"HINTS (\d+)", editor.text())[1])
    for key in "abc":
        editor.send(key)
        editor.shows("abc"[:"abc".index(key) + 1], hint={"a": "", "ab": ""}.get(key, ""))
    editor.send(LEFT)
    editor.shows("abc", 2)
    editor.send("\x15\x0b" + "hints " + "x" * 5000 + "\r")
    editor.wait_output(" of 5006\r\n")
    after = int(re.findall(r"HINTS (\d+)", editor.text())[-1])
    assert 3 <= after - before < 100


# Completion


def test_completion_fills_in_and_then_shows_what_may_follow(editor):
    editor.send("ls dev\t")
    editor.shows("ls Device.")
    editor.send("\t")
    editor.wait_text("DeviceInfo.  Ethernet.    Users.       WiFi.        Wörter.      漢字一覧.")
    editor.shows("ls Device.")
    editor.send("w\t")
    editor.wait(lambda: editor.rows()[-2:-1] == ["WiFi.    Wörter."], "the shorter list")
    editor.send("ö\t")
    editor.shows("ls Device.Wörter.")
    editor.send("\x1f")
    editor.shows("ls Device.wö", hint="rter.")


def test_completion_in_mid_line_and_behind_a_dot_of_a_file(editor):
    editor.send("up fw-1.3 end" + LEFT * 4 + "\t")
    editor.shows("up fw-1.3.bin end", 13)
    editor.send("\x15\x0bup fw-1.\t")
    editor.wait_text("fw-1.2.bin  fw-1.3.bin")
    editor.shows("up fw-1.")
    editor.send("\x15set A.B=t\t")
    editor.shows("set A.B=true")


def test_a_single_candidate_is_described_at_the_second_tab(editor):
    editor.send("set A.B=true\t\t")
    editor.wait_text("set A.B=true is a thing.\nIt has two lines.\n" + PROMPT + "set A.B=true")


def test_what_is_typed_is_seen_while_candidates_are_waited_for(editor):
    editor.send("quiet\r")
    editor.shows("")
    editor.send("slow \t")
    editor.shows("slow ")
    editor.send("\x03")
    editor.send("on\r")
    editor.answers("LINE[slow on]")


def test_too_many_candidates_are_not_all_shown(editor):
    editor.send("many \t\t")
    editor.wait_output("more\r\n")
    editor.shows("many candidate0")
    assert editor.output.count(b"\n") < 100


def test_a_list_below_a_line_of_several_rows(start_editor):
    editor = start_editor(columns=40).shows("")
    line = "ls Device." + "x" * 60 + " Device."
    editor.send(line + "\t")
    editor.wait_text("Ethernet.")
    editor.shows(line)
