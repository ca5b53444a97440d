"""The line editor: events in mid-line, signals, the terminal's modes."""

import signal
import termios

import pytest
from daemon import BUILD
from editor import DRIVER, LEFT, PROMPT, own_modes

# Events


@pytest.mark.parametrize("columns", (80, 20))
def test_an_event_in_mid_line(start_editor, events, columns):
    editor = start_editor("--events", events, columns=columns).shows("")
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


def test_an_event_with_a_long_prompt_leaves_what_was_printed(start_editor, events):
    prompt = "user@ravc:" + "Device." * 9 + "> "
    editor = start_editor("--events", events, "--prompt", prompt, columns=20).shows("", prompt=prompt)
    for i in range(3):
        events.write_text(f"number {i}\n")
        editor.wait_text(f"EVENT number {i}")
        editor.shows("", prompt=prompt)
    assert [f"EVENT number {i}" in editor.rows() for i in range(3)] == [True] * 3
    assert editor.text().count("user@ravc:") == 1


def test_an_event_during_a_search(start_editor, events):
    editor = start_editor("--events", events).shows("")
    editor.send("xone\r")
    editor.answers("LINE[xone]")
    editor.send("\x12xo")
    editor.wait_text("(reverse-i-search)`xo': xone")
    events.write_text("now\n")
    editor.wait_text("EVENT now\n(reverse-i-search)`xo': xone")
    editor.send("n\r")
    editor.wait(lambda: editor.rows().count("LINE[xone]") == 2, "the line again")


def test_an_event_between_the_bytes_of_a_key(start_editor, events):
    editor = start_editor("--events", events).shows("")
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


def test_a_signal_that_is_ignored_stays_ignored(start_editor):
    editor = start_editor("-c", "trap '' HUP; exec " + DRIVER, command="/bin/sh").shows("")
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


def test_stopped_and_continued(start_editor):
    script = f"set -m; {DRIVER}; echo; stty -a | grep -o -- '-*icanon'; read line; echo $line; fg; echo over"
    editor = start_editor("-c", script, command="/bin/sh").shows("")
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


def test_stopped_at_a_password(start_editor):
    script = f"set -m; {DRIVER}; echo; stty -a | grep -o -- '-*echo '; read line; fg; echo over"
    editor = start_editor("-c", script, command="/bin/sh").shows("")
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
    editor.send("De\t\r")
    editor.answers("ANSWER[De]")  # an answer is not completed
    editor.send("ask\r")
    editor.shows("", prompt="Sure? ")
    editor.send("no")
    editor.shows("no", prompt="Sure? ")
    editor.send("\x03")
    editor.wait_text("Sure? no^C\nSure?")
    editor.send("\x04")
    editor.answers("ANSWER[end]")


def test_interrupt_ends_a_program_that_does_not_handle_it(start_editor):
    editor = start_editor("--ask", "Sure? ")
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
