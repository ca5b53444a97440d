"""The line editor: lines, history, keys."""

import random

import pytest
from editor import DELETE, DOWN, END, HOME, LEFT, PROMPT, UP, pasted

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


def test_a_history_file_is_walked_without_harm(start_editor, tmp_path):
    history = tmp_path / "history"
    history.write_bytes(b"first\nevil \033]0;title\007\xff\n")
    history.chmod(0o600)
    editor = start_editor("--load", history).shows("")
    editor.send(UP)
    editor.wait_text("evil ^[]0;title^G")
    editor.send(UP)
    editor.shows("first")


# The user's own keys


def test_keys_of_an_inputrc(start_editor, tmp_path):
    inputrc = tmp_path / "inputrc"
    inputrc.write_text('"\\C-t": "typed"\nTAB: menu-complete\nset enable-bracketed-paste on\n"\\C-xk": kill-whole-line\n')
    editor = start_editor(INPUTRC=str(inputrc)).shows("")
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


def test_the_inputrc_at_home(start_editor, tmp_path):
    (tmp_path / ".inputrc").write_text('"\\C-t": "typed"\n')
    editor = start_editor(INPUTRC="", HOME=str(tmp_path)).shows("")
    editor.send("\x14")
    editor.shows("typed")


def test_vi_keys(start_editor, tmp_path):
    inputrc = tmp_path / "inputrc"
    inputrc.write_text("set editing-mode vi\n")
    editor = start_editor(INPUTRC=str(inputrc)).shows("")
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
def test_random_keys_do_no_harm(start_editor, tmp_path, mode):
    inputrc = tmp_path / "inputrc"
    inputrc.write_text(f"set editing-mode {mode}\n")
    seed = random.randrange(1 << 31)
    print("seed", seed)
    keys = 3000 if mode == "emacs" else 200  # Escape takes its time there
    # readline loses some undo records of vi's keys.
    editor = start_editor("--keys", keys, "--storm", seed, INPUTRC=str(inputrc), ASAN_OPTIONS="detect_leaks=0:abort_on_error=1")
    assert editor.wait_end() == 0
    assert b"STORM OVER" in editor.output
