"""The line editor at a screen: a small shell over it (tests/support/editor_driver.cpp), seen by a person's eyes."""

import os
import random
import re
import shutil
import signal
import subprocess
import termios
from unicodedata import normalize

import pyte
import pytest
from daemon import BUILD, wait_for
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


@pytest.fixture
def start():
    started = []

    def make(*arguments, columns=80, rows=24, command=DRIVER, **environment):
        editor = Editor([command, *map(str, arguments)], columns, rows, environment)
        started.append(editor)
        return editor

    yield make
    for editor in started:
        editor.close()


@pytest.fixture
def editor(start):
    return start().shows("")


@pytest.fixture
def events(tmp_path):
    path = tmp_path / "events"
    os.mkfifo(path)
    return path


def own_modes():
    master, slave = os.openpty()
    flags = termios.tcgetattr(slave)
    os.close(master)
    os.close(slave)
    return flags[0], flags[1], flags[3]


# Lines

def test_a_line_is_edited_and_given(editor):
    editor.send("ecxho" + LEFT * 2 + "\x7f")
    editor.shows("echo", 2)
    editor.send(HOME + DELETE + "E" + END + " one" + LEFT * 3 + "\x0b")
    editor.shows("Echo ", hint="Device.")
    editor.send("two\r")
    editor.answers("LINE[Echo two]")


def test_undo_kill_and_yank(editor):
    editor.send("one two three\x17\x17")
    editor.shows("one ", hint="Device.")
    editor.send("\x1f")
    editor.shows("one two ", hint="Device.")
    editor.send("\x15\x19\x19")
    editor.shows("one two " * 2, hint="Device.")


def test_words_by_control_and_arrows(editor):
    editor.send("one two\033[1;5D")
    editor.shows("one two", 4)
    editor.send("\033[1;5D\033[1;5C")
    editor.shows("one two", 3)


def test_the_history_is_walked(editor):
    for line in ("xa", "xb"):
        editor.send(line + "\r")
        editor.answers(f"LINE[{line}]")
    editor.send("half" + UP)
    editor.shows("xb")
    editor.send(UP)
    editor.shows("xa")
    editor.send(DOWN * 2)
    editor.shows("half")


def test_what_was_changed_in_the_history_is_not_kept(editor, tmp_path):
    for line in ("xa", "xb"):
        editor.send(line + "\r")
        editor.answers(f"LINE[{line}]")
    editor.send(UP + UP + "!" + DOWN + "?\r")
    editor.answers("LINE[xb?]")
    editor.send(f"dump {tmp_path}/history\r")
    editor.wait_text("DUMP 0")
    assert (tmp_path / "history").read_text() == f"xa\nxb\nxb?\ndump {tmp_path}/history\n"


def test_reverse_search(editor):
    for line in ("xalpha", "xbéta", "xgamma"):
        editor.send(line + "\r")
        editor.answers(f"LINE[{line}]")
    editor.send("\x12bé")
    editor.wait_text("(reverse-i-search)`bé': xbéta")
    editor.send("\r")
    editor.wait(lambda: editor.rows().count("LINE[xbéta]") == 2, "the line again")


@pytest.mark.parametrize("keys", ("\x18}", "\x18\x18", "\033}", "\x16\x18", "\033[97~"))
def test_keys_in_a_search_that_mean_nothing_there(editor, keys):
    editor.send("xalpha\r")
    editor.answers("LINE[xalpha]")
    editor.send("\x12xa")
    editor.wait_text("(reverse-i-search)`xa': xalpha")
    editor.send(keys)
    editor.send("\x07\x07\x15\x0bxon\r")
    editor.answers("LINE[xon]")


def test_an_entry_of_several_lines(editor):
    editor.send("remember\r")
    entry = "for i=1,2 do\n  print(i)\nend"
    editor.wait(lambda: editor.rows()[-2:] == [PROMPT + "remember", PROMPT.rstrip()], "the prompt")
    editor.send(UP)
    editor.shows(entry)
    editor.send("\x01")
    editor.shows(entry, 0)
    editor.send("\x05X\r")
    editor.wait_text("LINE[for i=1,2 do\n  print(i)\nendX]")


def test_a_history_file_is_walked_without_harm(start, tmp_path):
    history = tmp_path / "history"
    history.write_bytes(b"first\nevil \033]0;title\007\xff\n")
    history.chmod(0o600)
    editor = start("--load", history).shows("")
    editor.send(UP)
    editor.wait_text("evil ^[]0;title^G")
    editor.send(UP)
    editor.shows("first")


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


def test_a_hint_wraps_and_goes(start):
    editor = start(columns=21).shows("")
    editor.send("ls Device.Dev")
    editor.shows("ls Device.Dev", hint="iceInfo.")
    editor.send("\x7f")
    editor.shows("ls Device.De", hint="viceInfo.")
    editor.send("\x15")
    editor.shows("")


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


def test_a_list_below_a_line_of_several_rows(start):
    editor = start(columns=40).shows("")
    line = "ls Device." + "x" * 60 + " Device."
    editor.send(line + "\t")
    editor.wait_text("Ethernet.")
    editor.shows(line)


# Long lines, wide characters

@pytest.mark.parametrize("columns", (20, 21, 40, 80))
def test_random_edits_show_what_the_line_is(start, columns):
    seed = random.randrange(1 << 32)
    print("seed", seed)
    choose = random.Random(seed)
    editor = start(columns=columns).shows("")
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


def test_marks_that_combine(editor):
    editor.send("xe\u0301y" + LEFT)
    editor.shows("xe\u0301y", 3)
    editor.send(LEFT + DELETE)
    editor.shows("xy", 1)


def test_a_line_taller_than_the_screen_is_still_edited(start):
    editor = start(columns=20, rows=5).shows("")
    editor.send("x" * 150 + LEFT + "Y")
    editor.wait(lambda: editor.text().endswith("xxYx"), "the line's end")
    editor.send("\r")
    editor.wait_text("Yx]")
    editor.shows("")


@pytest.mark.parametrize("length", (18, 19, 20, 21, 39, 40, 41, 90))
def test_prompts_longer_than_a_row(start, length):
    prompt = ("user@ravc:" + "Device.Abc." * 10)[:length - 2] + "> "
    editor = start("--prompt", prompt, columns=20)
    editor.shows("", prompt=prompt)
    editor.send("echo abc" + LEFT)
    editor.shows("echo abc", 7, prompt=prompt)
    editor.send("Z" + END + "w" * 30)
    editor.shows("echo abZc" + "w" * 30, prompt=prompt)
    editor.send("\x15")
    editor.shows("", prompt=prompt)


def test_a_prompt_of_wide_characters_and_several_lines(start):
    prompt = "漢字" * 6 + "> "
    editor = start("--prompt", prompt, columns=21).shows("", prompt=prompt)
    editor.send("echo abc" + LEFT)
    editor.shows("echo abc", 7, prompt=prompt)
    prompt = "Two\nlines> "
    start("--prompt", prompt).shows("", prompt=prompt)


@pytest.mark.parametrize("size", ((1, 1), (2, 2), (3, 10), (5, 3), (300, 2)))
def test_terminals_of_next_to_no_size(start, size):
    editor = start("--keys", 1000, "--storm", 7, columns=size[0], rows=size[1],
                   ASAN_OPTIONS="detect_leaks=0:abort_on_error=1")
    editor.stream = pyte.ByteStream(pyte.Screen(80, 24))
    assert editor.wait_end() == 0


def test_a_prompt_drives_no_terminal(start):
    editor = start("--prompt", "a\033[2Jb> ")
    editor.shows("", prompt="a?[2Jb> ")


# Events

@pytest.mark.parametrize("columns", (80, 20))
def test_an_event_in_mid_line(start, events, columns):
    editor = start("--events", events, columns=columns).shows("")
    line = "echo one two three " * 2
    editor.send(line + LEFT * 4)
    editor.shows(line, len(line) - 4)
    events.write_text("first\n")
    editor.wait_text("\nEVENT first\n" + PROMPT[:-1])
    editor.shows(line, len(line) - 4)
    events.write_text("second\nof two\n")
    editor.wait_text("\nEVENT second\nof two\n" + PROMPT[:-1])
    editor.shows(line, len(line) - 4)
    assert editor.text().count("user@ravc:>") == 1
    editor.send("\x1f" * 100 + "again")
    editor.shows("again")


def test_an_event_with_a_long_prompt_leaves_what_was_printed(start, events):
    prompt = "user@ravc:" + "Device." * 9 + "> "
    editor = start("--events", events, "--prompt", prompt, columns=20).shows("", prompt=prompt)
    for i in range(3):
        events.write_text(f"number {i}\n")
        editor.wait_text(f"EVENT number {i}")
        editor.shows("", prompt=prompt)
    assert [f"EVENT number {i}" in editor.rows() for i in range(3)] == [True] * 3
    assert editor.text().count("user@ravc:") == 1


def test_an_event_during_a_search(start, events):
    editor = start("--events", events).shows("")
    editor.send("xone\r")
    editor.answers("LINE[xone]")
    editor.send("\x12xo")
    editor.wait_text("(reverse-i-search)`xo': xone")
    events.write_text("now\n")
    editor.wait_text("EVENT now\n(reverse-i-search)`xo': xone")
    editor.send("n\r")
    editor.wait(lambda: editor.rows().count("LINE[xone]") == 2, "the line again")


def test_an_event_between_the_bytes_of_a_key(start, events):
    editor = start("--events", events).shows("")
    editor.send("ab漢".encode()[:-1])
    editor.shows("ab")
    events.write_text("now\n")
    editor.wait_text("EVENT now\n" + PROMPT + "ab")
    editor.send("漢".encode()[-1:])
    editor.shows("ab漢")


# Signals and modes

def test_interrupt_drops_the_line(editor):
    editor.send("ls De" + LEFT)
    editor.shows("ls De", 4)
    editor.send("\x03")
    editor.wait(lambda: editor.rows() == [PROMPT + "ls De^C", PROMPT.rstrip()], "a new prompt")
    editor.send("\x12xyz")
    editor.wait_text("(failed reverse-i-search)`xyz'")
    editor.send("\x03")
    editor.wait(lambda: editor.rows()[-1:] == [PROMPT.rstrip()] and editor.text().count("^C") == 2, "a new prompt")
    editor.send("next\r")
    editor.answers("LINE[next]")


def test_interrupt_takes_the_hint_away(editor):
    editor.send("ls D")
    editor.shows("ls D", hint="evice.")
    editor.send("\x03")
    editor.wait(lambda: editor.rows() == [PROMPT + "ls D^C", PROMPT.rstrip()], "a new prompt")


@pytest.mark.parametrize("number", (signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGSEGV, signal.SIGABRT,
                                    signal.SIGUSR1, signal.SIGKILL))
def test_the_terminal_is_put_right_when_a_signal_kills(editor, number):
    if "asan" in str(BUILD) and number in (signal.SIGSEGV, signal.SIGABRT):
        pytest.skip("the sanitizer has handlers of its own")
    assert editor.modes() != own_modes()
    editor.process.send_signal(number)
    assert editor.wait_end() == -number
    if number != signal.SIGKILL:
        assert editor.modes() == own_modes()
        assert editor.output.endswith(b"\033[?2004l")
    else:
        assert editor.modes() != own_modes()  # so the other cases can fail


def test_the_terminal_is_put_right_after_a_fault(editor):
    if "asan" in str(BUILD):
        pytest.skip("the sanitizer has handlers of its own")
    editor.send("fault ")
    assert editor.wait_end() == -signal.SIGSEGV
    assert editor.modes() == own_modes()


def test_interrupt_while_a_hint_is_waited_for(editor):
    editor.send("slow ")
    editor.shows("slow ")
    editor.send("\x03")
    editor.send("on\r")
    editor.answers("LINE[slow on]")


def test_a_signal_that_is_ignored_stays_ignored(start):
    editor = start("-c", "trap '' HUP; exec " + DRIVER, command="/bin/sh").shows("")
    editor.process.send_signal(signal.SIGHUP)
    editor.send("on\r")
    editor.answers("LINE[on]")


def test_the_modes_are_the_terminals_own_while_a_command_runs_and_at_the_end(editor):
    editor.send("secret\r")
    editor.wait_text("Password:")
    editor.wait(lambda: not editor.modes()[2] & termios.ECHO and editor.modes()[2] & termios.ICANON, "no echo")
    editor.send("hush\r")
    editor.wait_text("SECRET[hush]")
    assert editor.text().count("hush") == 1
    editor.shows("")
    editor.send("\x04")
    assert editor.wait_end() == 0
    assert editor.modes() == own_modes()


@pytest.mark.parametrize("number", (signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT))
def test_echo_is_put_right_when_a_signal_kills(editor, number):
    editor.send("secret\r")
    editor.wait(lambda: not editor.modes()[2] & termios.ECHO and editor.modes()[2] & termios.ICANON, "no echo")
    editor.process.send_signal(number)
    assert editor.wait_end() == -number
    assert editor.modes() == own_modes()


def test_stopped_and_continued(start):
    script = f"set -m; {DRIVER}; echo; stty -a | grep -o -- '-*icanon'; read line; echo $line; fg; echo over"
    editor = start("-c", script, command="/bin/sh").shows("")
    editor.send("half" + LEFT)
    editor.shows("half", 3)
    editor.send("\x1a")
    editor.wait(lambda: "icanon" in editor.rows(), "the terminal's own modes")
    editor.send("cooked\r")
    editor.wait(lambda: editor.rows().count("cooked") == 2, "the shell's line")
    editor.shows("half", 3)
    editor.send("X\r")
    editor.wait_text("LINE[halXf]")
    editor.send("\x04")
    editor.wait_text("over")


def test_stopped_where_no_shell_could_continue_it(editor):
    editor.send("half")
    editor.shows("half")
    editor.send("\x1a")
    editor.send("X")
    editor.shows("halfX")


def test_stopped_at_a_password(start):
    script = f"set -m; {DRIVER}; echo; stty -a | grep -o -- '-*echo '; read line; fg; echo over"
    editor = start("-c", script, command="/bin/sh").shows("")
    editor.send("secret\r")
    editor.wait(lambda: not editor.modes()[2] & termios.ECHO and editor.modes()[2] & termios.ICANON, "no echo")
    editor.send("\x1a")
    editor.wait(lambda: "echo" in editor.rows(), "echo")
    editor.send("\r")
    editor.wait(lambda: not editor.modes()[2] & termios.ECHO and editor.modes()[2] & termios.ICANON, "no echo again")
    editor.send("hush\r")
    editor.wait_text("SECRET[hush]")
    assert editor.text().count("hush") == 1


def test_a_question_inside_of_a_command(editor):
    editor.send("ask\r")
    editor.shows("", prompt="Sure? ")
    editor.send("yex\x7fs\r")
    editor.answers("ANSWER[yes]")
    editor.send("ask\r")
    editor.shows("", prompt="Sure? ")
    editor.send("no")
    editor.shows("no", prompt="Sure? ")
    editor.send("\x03")
    editor.wait_text("Sure? no^C\nSure?")
    editor.send("\x04")
    editor.answers("ANSWER[end]")


def test_interrupt_ends_a_program_that_does_not_handle_it(start):
    editor = start("--ask", "Sure? ")
    editor.shows("", prompt="Sure? ")
    editor.send("no")
    editor.shows("no", prompt="Sure? ")
    editor.send("\x03")
    assert editor.wait_end() == -signal.SIGINT
    assert editor.modes() == own_modes()


def test_a_handler_that_jumps_away(editor):
    editor.send("jump\r")
    editor.shows("", prompt="Jump? ")
    editor.send("half")
    editor.shows("half", prompt="Jump? ")
    editor.send("\x03")
    editor.shows("", prompt="Again? ")
    editor.send("yes\r")
    editor.answers("ANSWER[yes]")
    editor.send("jump\r")
    editor.shows("", prompt="Jump? ")
    editor.send("whole\r")
    editor.answers("ANSWER[whole]")


# The terminal's size

def test_resize(start):
    editor = start(columns=80).shows("")
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


def test_a_shrunken_screen_scrolls_sideways(start):
    editor = start(columns=80).shows("")
    editor.send("x" * 60)
    editor.resized(20, 3)
    editor.send("Y")
    editor.wait(lambda: editor.text().endswith("xY"), "the line's end")


# Pasting

def pasted(text):
    return f"\033[200~{text}\033[201~"


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

def test_a_progress_bar(start):
    editor = start(columns=40).shows("")
    editor.send("barSending\r")
    editor.answers("Sending [" + "#" * 22 + "] 100%")
    assert (" [" + "#" * 11 + "-" * 11 + "]  50%").encode() in editor.output
    label = "x" * 50
    editor.send(f"bar{label}\r")
    editor.answers("x" * 32 + " 100%")


def test_a_list_in_columns(start):
    editor = start(columns=60).shows("")
    editor.send("list\r")
    editor.wait_text("DeviceInfo.  漢字一覧.    Parameter4   Parameter9\nEthernet.    Parameter0   Parameter5   Parameter10\n")


# Odd terminals, no terminal

@pytest.mark.parametrize("terminal", ("dumb", "no-such-terminal", ""))
def test_a_dumb_terminal(start, events, terminal):
    editor = start("--events", events, TERM=terminal)
    editor.wait_text(PROMPT.rstrip())
    editor.send("echo ab" + LEFT + "c")
    editor.wait_text(PROMPT + "echo acb")
    events.write_text("now\n")
    editor.wait_text("EVENT now\n" + PROMPT + "echo acb")
    editor.send("\r")
    editor.wait_text("LINE[echo acb]")
    assert b"\033" not in editor.output


@pytest.mark.parametrize("environment", ({"LC_ALL": "C"}, {"LANG": "tr_TR.UTF-8"}, {}))
def test_texts_are_utf8_in_every_locale(start, environment):
    editor = start(**environment).shows("")
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


def test_a_terminal_whose_output_is_a_pipe(start, tmp_path):
    editor = start("-c", f"{DRIVER} > {tmp_path}/out", command="/bin/sh")
    editor.send("one\r\x04")
    editor.wait_end()
    assert (tmp_path / "out").read_text() == "LINE[one]\nLEFT\n"


def test_a_terminal_that_hangs_up(start):
    editor = start("-c", "trap '' HUP; exec " + DRIVER, command="/bin/sh").shows("")
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


# The user's own keys

def test_keys_of_an_inputrc(start, tmp_path):
    inputrc = tmp_path / "inputrc"
    inputrc.write_text('"\\C-t": "typed"\nTAB: menu-complete\nset enable-bracketed-paste on\n"\\C-xk": kill-whole-line\n')
    editor = start(INPUTRC=str(inputrc)).shows("")
    editor.send("\x14")
    editor.shows("typed")
    editor.send("\x18k")
    editor.shows("")
    editor.send("ls dev\t")
    editor.shows("ls Device.")
    editor.send(pasted(" a\tb"))
    editor.shows("ls Device. a b")
    editor.send("\x18\x12X")
    editor.shows("ls Device. a bX")
    editor.send("\x15ls dev\t")
    editor.shows("ls Device.")


def test_the_inputrc_at_home(start, tmp_path):
    (tmp_path / ".inputrc").write_text('"\\C-t": "typed"\n')
    editor = start(INPUTRC="", HOME=str(tmp_path)).shows("")
    editor.send("\x14")
    editor.shows("typed")


def test_vi_keys(start, tmp_path):
    inputrc = tmp_path / "inputrc"
    inputrc.write_text("set editing-mode vi\n")
    editor = start(INPUTRC=str(inputrc)).shows("")
    editor.send("one two\033")
    editor.shows("one two", 6)
    editor.send("0cwTWO")
    editor.shows("TWO two", 3)
    editor.send("\033[C\033[D" + "\033")
    editor.shows("TWO two", 2)
    editor.send("\033")
    editor.shows("TWO two", 2)
    editor.send("x")
    editor.shows("TW two", 2)
    editor.send("iO\033")
    editor.shows("TWO two", 2)
    editor.send("A ls dev\t")
    editor.shows("TWO two ls Device.")
    editor.send("\x15ls dev\t")
    editor.shows("ls Device.")
    editor.send("\033u")
    editor.send("\r")
    editor.wait_text("LINE[")
    editor.send("x\033k\033\003")
    editor.wait_text("^C")
    editor.send("fresh\r")
    editor.answers("LINE[fresh]")


# Storms

@pytest.mark.parametrize("mode", ("emacs", "vi"))
def test_random_keys_do_no_harm(start, tmp_path, mode):
    inputrc = tmp_path / "inputrc"
    inputrc.write_text(f"set editing-mode {mode}\n")
    seed = random.randrange(1 << 31)
    print("seed", seed)
    keys = 3000 if mode == "emacs" else 200  # Escape takes its time there
    # readline loses some undo records of vi's keys.
    editor = start("--keys", keys, "--storm", seed, INPUTRC=str(inputrc), ASAN_OPTIONS="detect_leaks=0:abort_on_error=1")
    assert editor.wait_end() == 0
    assert b"STORM OVER" in editor.output
