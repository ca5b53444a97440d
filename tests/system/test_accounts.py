"""Users that outlive the daemon: the first start, restarts, and passwords set while it does not run."""

import contextlib
import os
import pty
import re
import subprocess

import pytest
from daemon import RAVD, SOURCE, accepts, wait_for
from users import add_user, current_user, delete_user, log_in, set_user

CANARY = "kanarienvogel"


def set_password(state, user, text):
    return subprocess.run([RAVD, "--state", state, "--schema", SOURCE / "schema", "--hash-cost", "1", "--set-password",
                           user], input=text, capture_output=True, text=True, timeout=60, check=False)


def first_password(daemon):
    return re.search(r"^<5>first start: the user admin has the password (\S{20})$", daemon.log(), re.M).group(1)


@pytest.mark.parametrize("level", ["info", "error"])
def test_the_first_password_lets_in_and_is_told_once(start_ravd, tmp_path, level):
    daemon = start_ravd("--log-level", "info", state=tmp_path / "state") if level == "info" else None
    if daemon is None:  # at this level nothing says "ready"
        daemon = start_ravd("--log-level", level, state=tmp_path / "state", ready=False)
        wait_for(lambda: accepts(daemon.socket), "the socket")
    password = first_password(daemon)
    client = daemon.connect()
    assert log_in(client, "admin", password) == 0
    assert current_user(client) == "admin"
    daemon.stop()
    again = start_ravd(state=tmp_path / "state")
    assert "first start" not in again.log()
    assert log_in(again.connect(), "admin", password) == 0


def test_users_outlive_the_daemon_and_numbers_are_not_used_twice(start_ravd, tmp_path):
    first = start_ravd(state=tmp_path / "state")
    client = first.connect()
    assert [add_user(client, name) for name in ("anna", "ben", "carl")] == [2, 3, 4]
    delete_user(client, 4)
    set_user(client, 3, Username="benno", Password=CANARY)
    first.process.kill()  # nothing was saved, and nothing need be
    first.process.wait()
    first.socket.unlink()
    second = start_ravd(state=tmp_path / "state")
    client = second.connect()
    assert log_in(second.connect(), "anna") == 0
    assert log_in(second.connect(), "ben") == 9001
    assert log_in(second.connect(), "benno", CANARY) == 0
    assert add_user(client, "dora") == 5
    stored = [file.read_bytes().decode("latin-1") for file in second.state.rglob("*") if file.is_file()]
    assert stored
    for text in (second.log(), first.log(), *stored):
        assert CANARY not in text


def test_a_password_is_set_while_no_daemon_runs(start_ravd, tmp_path):
    daemon = start_ravd(state=tmp_path / "state")
    old = first_password(daemon)
    token = daemon.connect().result("Execute", {"Path": "Device.Users.User.1.CreateToken"})["ParameterList"][0]["Value"]
    running = set_password(daemon.state, "admin", "new\n")
    assert running.returncode == 1 and "another ravd" in running.stderr
    daemon.stop()
    for user, text, problem in (("nobody", "new\n", "there is no user nobody"), ("admin", "\n", "no password was given"),
                                ("admin", "x" * 65 + "\n", "at most 64 bytes"), ("admin", "a\tb\n", "control")):
        refused = set_password(daemon.state, user, text)
        assert (refused.returncode, refused.stdout) == (1, "") and problem in refused.stderr, refused
    done = set_password(daemon.state, "admin", CANARY + "\nmore")
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")
    again = start_ravd(state=tmp_path / "state")
    assert log_in(again.connect(), "admin", old) == 9001
    assert log_in(again.connect(), "admin", CANARY) == 0
    assert again.connect().code("SetAuth", {"Token": token}) == 9001


def test_set_password_asks_twice_at_a_terminal_without_echo(start_ravd, tmp_path):
    start_ravd(state=tmp_path / "state").stop()
    for second, status in ((CANARY, 0), ("other", 1)):
        child, master = pty.fork()
        if child == 0:
            os.execv(RAVD, [str(RAVD), "--state", str(tmp_path / "state"), "--schema", str(SOURCE / "schema"),
                            "--hash-cost", "1", "--set-password", "admin"])
        seen = b""
        for prompt, answer in ((b"New password of admin: ", CANARY), (b"Once more: ", second)):
            while prompt not in seen:
                seen += os.read(master, 1024)
            os.write(master, answer.encode() + b"\n")
        with contextlib.suppress(OSError):  # the terminal ends with its last user
            while more := os.read(master, 1024):
                seen += more
        assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == status
        assert CANARY.encode() not in seen
        os.close(master)
