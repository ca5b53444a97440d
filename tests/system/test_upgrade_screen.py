"""An upgrade as a person sees it: the question, the bar and its marks, and how the shell ends."""

import pytest

INFO = "Device.DeviceInfo."
QUESTION = "Reset config[(N)o/(y)es/(c)ancel] "
APPLIED = {"Status": 0}
MAJOR = {"Status": 1, "CurrentVersion": "1.0.0", "NewVersion": "2.0.0", "SavedFirmware": "/x", "TransactionID": "id"}


def set_progress(daemon, percent, status=1):
    daemon.values |= {f"{INFO}UpgradeProgress": percent, f"{INFO}UpgradeStatus": status}


@pytest.fixture
def daemon(accepting):
    """Applies an image already, at 0 percent."""
    accepting.results["Download"] = APPLIED
    set_progress(accepting, 0)
    return accepting


def downloads(daemon):
    return [params for method, params in daemon.requests if method == "Download"]


def bar(shell):
    """The row that shows the progress, or an empty text."""
    return next((row for row in shell.rows() if row.startswith("Flashing: [")), "")


def filled(row):
    inside = row[row.index("[") + 1:row.index("]")]
    assert set(inside) <= {"#", "-"} and "-#" not in inside
    return inside.count("#") / len(inside)


def start_upgrade(shell):
    shell.wait_line("").send("upgrade a://b\r")


def test_the_bar_grows_and_the_shell_ends(daemon, open_shell):
    shell = open_shell(daemon.destination)
    start_upgrade(shell)
    shell.wait(lambda: bar(shell).endswith("]   0%"), "a bar at 0 %")
    assert filled(bar(shell)) == 0
    for percent, mark in ((1, ""), (3, "*"), (12, "@"), (14, "*"), (90, "@")):
        set_progress(daemon, percent)
        shell.wait_output(f"{percent}%\033[K{mark}")
        shell.wait(lambda percent=percent: f"] {percent:3}%" in bar(shell), f"{percent} %")
        assert abs(filled(bar(shell)) - percent / 100) < 0.02
    set_progress(daemon, 95, -2)
    assert shell.wait_end() == 0
    rows = shell.rows()
    assert rows[-2].startswith("Flashing: [#") and rows[-2].endswith("#] 100%") and rows[-1] == "Status: OK"
    assert len([row for row in rows if "Flashing" in row]) == 1  # drawn in one place, however often


def test_a_mark_stands_behind_the_bar_until_it_is_drawn_again(daemon, open_shell):
    shell = open_shell(daemon.destination, columns=40)
    start_upgrade(shell)
    shell.wait(lambda: bar(shell), "the bar")
    set_progress(daemon, 50)
    shell.wait_output("50%\033[K@\r")
    shell.wait(lambda: bar(shell).endswith("]  50%"), "the bar without its mark")
    assert all(len(row) <= 40 for row in shell.rows())


def test_progress_that_is_out_of_bounds_is_drawn_within_them(daemon, open_shell):
    shell = open_shell(daemon.destination)
    start_upgrade(shell)
    set_progress(daemon, -50)
    shell.wait(lambda: bar(shell).endswith("]   0%"), "a bar at 0 %")
    set_progress(daemon, 10 ** 9)
    shell.wait(lambda: "] 100%" in bar(shell), "a bar at 100 %")


def test_what_was_typed_and_recorded_is_kept_when_an_upgrade_ends_the_shell(daemon, open_shell, shell_tmp, tmp_path):
    shell = open_shell(daemon.destination)
    shell.wait_line("").enter(f"record {tmp_path / 'script'}")
    set_progress(daemon, 100, -2)
    shell.send("upgrade a://b\r")
    assert shell.wait_end() == 0
    assert "upgrade a://b" in shell_tmp.history.read_text()
    assert (tmp_path / "script").read_text() == "upgrade a://b\n"


# The question


@pytest.fixture
def asked(daemon, open_shell):
    """A shell that asks about a major upgrade."""
    daemon.results["Download"] = MAJOR
    set_progress(daemon, 100, -2)
    shell = open_shell(daemon.destination)
    start_upgrade(shell)
    shell.wait_text("Major upgrade...")
    shell.wait(lambda: shell.takes_keys() and shell.rows()[-1] + " " == QUESTION, "the question")
    return shell


def test_cancelling_gives_the_prompt_back(daemon, asked):
    asked.send("c")
    asked.wait(lambda: asked.rows()[-1] == QUESTION + "c", "the answer, and no hint of a command behind it")
    asked.send("\t\t\r")
    asked.wait_line("")
    assert downloads(daemon)[2:] == [{"FileType": "Firmware", "TransactionID": "id"}]
    asked.send("\033[A")
    asked.wait_line("upgrade a://b")  # the answer is no line of the history


@pytest.mark.parametrize("answer, resets", [("y", 1), ("n", 0), ("", 0), ("\x04", 0)])
def test_answers(daemon, asked, answer, resets):
    asked.send(answer + ("" if answer == "\x04" else "\r"))
    assert asked.wait_end() == 0
    assert daemon.methods().count("FactoryReset") == resets
    assert downloads(daemon)[2] == {"FileType": "Firmware", "URL": "file:///x", "NeedPreUpdate": False,
                                    "TransactionID": "id"}
    rows = asked.rows()
    assert rows[-1] == "Status: OK" and rows[-2].endswith("] 100%")
    assert ("Resetting config..." in rows) == bool(resets)


# Ctrl-C


def answers(shell):
    shell.wait_line("")
    assert "ravc" in shell.enter("sh echo ra''vc")


@pytest.mark.usefixtures("abandoned_commands_leak")
def test_ctrl_c_at_the_question(daemon, asked):
    asked.send("ye\x03")
    answers(asked)
    assert len(downloads(daemon)) == 2


@pytest.mark.usefixtures("abandoned_commands_leak")
def test_ctrl_c_while_the_progress_is_shown(daemon, open_shell):
    shell = open_shell(daemon.destination)
    for percent in range(10, 60, 10):
        set_progress(daemon, percent)
        start_upgrade(shell)
        shell.wait_output(f"{percent}%")
        shell.send("\x03")
        answers(shell)


@pytest.mark.usefixtures("abandoned_commands_leak")
def test_ctrl_c_while_the_daemon_looks_whether_it_could(daemon, open_shell):
    shell = open_shell(daemon.destination)
    daemon.unanswered = {"Download"}
    start_upgrade(shell)
    shell.wait(lambda: downloads(daemon), "the request")
    shell.send("\x03")
    answers(shell)
