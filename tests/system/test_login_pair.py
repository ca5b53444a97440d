"""Who may log in, with the real programs: by password, as the local user, by token."""

import os
import pwd
import re

import pytest
from users import USERS, add_user

ME = pwd.getpwuid(os.getuid()).pw_name
WHO = "Device.Users.CurrentUser"


@pytest.fixture(autouse=True)
def home(tmp_path, monkeypatch):
    """An empty home, so that no start-up script of the user runs."""
    folder = tmp_path / "home"
    folder.mkdir()
    monkeypatch.setenv("HOME", str(folder))


@pytest.fixture
def user(connect):
    """The user joe with the password "open", as an admin makes it; the path of its instance."""
    return f"{USERS}{add_user(connect(), 'joe', password='open')}."


@pytest.fixture
def token(ravc, user):
    (found,) = re.findall(r"(?<![A-Za-z0-9_-])[A-Za-z0-9_-]{43}(?![A-Za-z0-9_-])", ravc("-r", "execute", user + "CreateToken").stdout)
    return found


def who(ravc, *arguments):
    result = ravc(*arguments, "-r", "get", WHO)
    return result.returncode, result.stdout, result.stderr


REFUSED = 1, "", "Failed to authenticate user\n"


def test_password(ravc, user):
    assert who(ravc, "-a", "joe:open") == (0, " = 'joe'\n", "")


def test_wrong_password_and_unknown_user_are_refused_alike(ravc, user):
    assert who(ravc, "-a", "joe:shut") == REFUSED
    assert who(ravc, "-a", "nobody-at-all:open") == REFUSED
    assert who(ravc, "-a", "joe") == REFUSED  # without a password: for the local user alone


def test_token(ravc, token):
    assert who(ravc, "-a", token) == (0, " = 'joe'\n", "")
    assert who(ravc, "-a", token[:-1] + ("A" if token[-1] != "A" else "B")) == REFUSED


def test_local_user_needs_no_password(ravc):
    if os.getuid() != 0:
        pytest.skip("root is an admin everywhere; others only where the daemon is their own")
    assert ravc("-s", input=f"get {WHO}\nget Device.Users.SystemAccess\n").stdout == f" = '{ME}'\n = true\n"


def test_commands_in_a_script(ravc, user):
    result = ravc("-a", "joe:open", "-s", input=f"get {WHO}\nlogout\nlogin joe -p open\nget {WHO}\nlogin joe\nshut\n")
    assert (result.returncode, result.stdout) == (
        255, " = 'joe'\n = 'joe'\n[ravc] password for joe: \nFailed to authenticate user\n")


def test_prompt_of_the_shell(ravd, open_shell, user, token):
    shell = open_shell(ravd.socket, "-a", "joe:open").wait_line("")
    assert shell.before_cursor() == "joe@ravc:> "
    shell.send("logout\r")
    shell.wait(lambda: shell.takes_keys() and shell.before_cursor() == "ravc:> ", "a guest's prompt")
    shell.send("login\x15login_if_guest " + token + "\r")
    shell.wait(lambda: shell.takes_keys() and shell.before_cursor() == "joe@ravc:> ", "the user's prompt")
    shell.send("q\r")
    assert shell.wait_end() == 0
