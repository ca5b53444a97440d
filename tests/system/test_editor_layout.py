"""The line editor: long lines, wide characters, the terminal's size."""

import os
import random
import shutil
import subprocess

import pyte
import pytest
from daemon import wait_for
from editor import DELETE, DRIVER, END, HOME, LEFT, PROMPT, layout

# Long lines, wide characters


@pytest.mark.parametrize("columns", (20, 21, 40, 80))
def test_random_edits_show_what_the_line_is(start_editor, columns):
    seed = random.randrange(1 << 32)
    print("seed", seed)
    choose = random.Random(seed)
    editor = start_editor(columns=columns).shows("")
    editor.send("quiet\r")
    editor.shows("")
    line, cursor = "", 0
    for _ in range(60):
        key = choose.choice(["text"] * 4 + ["left", "home", "end", "delete", "rubout", "kill"])
        if key == "text":
            text = choose.choice(["a", "bc", "漢", "é", "フォ", " ", "x" * choose.randint(1, 25)])
            line, cursor = line[:cursor] + text + line[cursor:], cursor + len(text)
            editor.send(text)
        elif key == "left":
            cursor = max(cursor - 1, 0)
            editor.send(LEFT)
        elif key == "home":
            cursor = 0
            editor.send(HOME)
        elif key == "end":
            cursor = len(line)
            editor.send(END)
        elif key == "delete":
            line = line[:cursor] + line[cursor + 1:]
            editor.send(DELETE)
        elif key == "rubout":
            line, cursor = line[:max(cursor - 1, 0)] + line[cursor:], max(cursor - 1, 0)
            editor.send("\x7f")
        elif len(line) > 150:
            line = line[:cursor]
            editor.send("\x0b")
        editor.shows(line, cursor)


@pytest.mark.parametrize("columns", range(20, 26))
def test_a_mark_before_the_prompt_counts(start_editor, tmp_path, columns):
    (tmp_path / "inputrc").write_text("set show-mode-in-prompt on\nset emacs-mode-string @@@\n")
    editor = start_editor(columns=columns, INPUTRC=str(tmp_path / "inputrc")).shows("", prompt="@@@" + PROMPT)
    editor.send("quiet\r")
    editor.shows("", prompt="@@@" + PROMPT)
    for end in range(1, 15):
        editor.send("x")
        editor.shows("x" * end, prompt="@@@" + PROMPT)


@pytest.mark.parametrize("columns", (40, 80))
@pytest.mark.parametrize("seen", (True, False))
def test_a_search_leaves_nothing_on_the_screen(start_editor, columns, seen):
    """In the narrow one it ends in the second row."""
    line = "attr Device.DeviceInfo."
    editor = start_editor(columns=columns).shows("")
    editor.send(line + "\r")
    editor.answers(f"LINE[{line}]")
    if seen:
        editor.send("\x12e")
        editor.wait_text("search)`e': attr")
        editor.send("\x05")
    else:
        editor.send("\x12e\x05")
    editor.shows(line)


def test_marks_that_combine(editor):
    editor.send("xe\u0301y" + LEFT)
    editor.shows("xe\u0301y", 3)
    editor.send(LEFT + DELETE)
    editor.shows("xy", 1)


def test_a_line_taller_than_the_screen_is_still_edited(start_editor):
    editor = start_editor(columns=20, rows=5).shows("")
    editor.send("x" * 150 + LEFT + "Y")
    editor.wait(lambda: editor.text().endswith("xxYx"), "the line's end")
    editor.send("\r")
    editor.wait_text("Yx]")
    editor.shows("")


@pytest.mark.parametrize("length", (18, 19, 20, 21, 39, 40, 41, 90))
def test_prompts_longer_than_a_row(start_editor, length):
    prompt = ("user@ravc:" + "Device.Abc." * 10)[:length - 2] + "> "
    editor = start_editor("--prompt", prompt, columns=20)
    editor.shows("", prompt=prompt)
    editor.send("echo abc" + LEFT)
    editor.shows("echo abc", 7, prompt=prompt)
    editor.send("Z" + END + "w" * 30)
    editor.shows("echo abZc" + "w" * 30, prompt=prompt)
    editor.send("\x15")
    editor.shows("", prompt=prompt)


def test_a_prompt_of_wide_characters_and_several_lines(start_editor):
    prompt = "漢字" * 6 + "> "
    editor = start_editor("--prompt", prompt, columns=21).shows("", prompt=prompt)
    editor.send("echo abc" + LEFT)
    editor.shows("echo abc", 7, prompt=prompt)
    prompt = "Two\nlines> "
    start_editor("--prompt", prompt).shows("", prompt=prompt)


@pytest.mark.parametrize("size", ((1, 1), (2, 2), (3, 10), (5, 3), (300, 2)))
def test_terminals_of_next_to_no_size(start_editor, size):
    editor = start_editor("--keys", 1000, "--storm", 7, columns=size[0], rows=size[1],
                   ASAN_OPTIONS="detect_leaks=0:abort_on_error=1")
    editor.stream = pyte.ByteStream(pyte.Screen(80, 24))
    assert editor.wait_end() == 0


def test_a_prompt_drives_no_terminal(start_editor):
    editor = start_editor("--prompt", "a\033[2Jb> ")
    editor.shows("", prompt="a?[2Jb> ")


# The terminal's size


def test_resize(start_editor):
    editor = start_editor(columns=80).shows("")
    editor.send("echo one two" + LEFT)
    editor.shows("echo one two", 11)
    for columns in (40, 30, 100, 60):
        editor.resized(columns)
        editor.send("x")
        editor.wait_text("x" + "o")
        editor.send("\x7f")
        editor.shows("echo one two", 11)


class Tmux:
    """A terminal that lays its text out anew when its width changes, as most do."""

    def __init__(self, folder, columns):
        self.socket = str(folder / "tmux")
        self.run("new-session", "-d", "-x", str(columns), "-y", "24", f"env INPUTRC=/dev/null {DRIVER}")
        for setting in (("status", "off"), ("window-size", "manual")):
            self.run("set", "-g", *setting)
        self.resize(columns)

    def run(self, *words):
        environment = os.environ | {"LC_ALL": "C.UTF-8", "TERM": "xterm-256color"}
        return subprocess.run(["tmux", "-u", "-S", self.socket, "-f", "/dev/null", *words], env=environment, text=True,
                              capture_output=True, check=True, timeout=60).stdout

    def resize(self, columns):
        self.columns = columns
        self.run("resize-window", "-x", str(columns), "-y", "24")

    def shows(self, line, cursor, hint="", above="LINE[above]"):
        rows = [row.rstrip() for row in layout(PROMPT + line + hint, self.columns)[0]]
        y, x = layout(PROMPT + line[:cursor], self.columns)[1]

        def holds():
            shown = [row.rstrip() for row in self.run("capture-pane", "-p").rstrip("\n").split("\n")]
            first = len(shown) - len(rows)
            place = self.run("display-message", "-p", "#{cursor_y},#{cursor_x}").strip()
            return shown[first - 1:] == [above, *rows] and place == f"{first + y},{x}"

        wait_for(holds, f"{line + hint!r} in {self.columns} columns")


needs_tmux = pytest.mark.skipif(not shutil.which("tmux"), reason="tmux is not here")


@needs_tmux
def test_wide_characters_where_half_of_one_blanks_it(tmp_path):
    tmux = Tmux(tmp_path, 80)
    try:
        tmux.run("send-keys", "above", "Enter")
        tmux.shows("", 0)
        tmux.run("send-keys", "-l", "x漢字かなy")
        tmux.shows("x漢字かなy", 6)
        tmux.run("send-keys", "Left", "Left", "Left", "BSpace")
        tmux.shows("x漢かなy", 2)
        tmux.run("send-keys", "z", "Home", "DC")
        tmux.shows("漢zかなy", 0)
        tmux.run("send-keys", "-l", "ab")
        tmux.shows("ab漢zかなy", 2)
    finally:
        tmux.run("kill-server")


@needs_tmux
@pytest.mark.parametrize("hint", ("", "iceInfo."))
def test_resize_where_text_is_laid_out_anew(tmp_path, hint):
    line = "xls " + "abcdefghij" * 8 + " Device.Dev"
    tmux = Tmux(tmp_path, 80)
    try:
        for _ in range(4):  # rows above, which must stay: at the top of its screen, tmux brings rows back from beyond it
            tmux.run("send-keys", "above", "Enter")
        tmux.shows("", 0)
        tmux.run("send-keys", "-l", line)
        cursor = len(line)
        if not hint:
            tmux.run("send-keys", "Left", "Left", "Left")
            cursor -= 3
        tmux.shows(line, cursor, hint)
        for columns in (40, 80, 50, 33, 64):
            tmux.resize(columns)
            tmux.shows(line, cursor, hint)
    finally:
        tmux.run("kill-server")


def test_a_shrunken_screen_scrolls_sideways(start_editor):
    editor = start_editor(columns=80).shows("")
    editor.send("x" * 60)
    editor.resized(20, 3)
    editor.send("Y")
    editor.wait(lambda: editor.text().endswith("xY"), "the line's end")
