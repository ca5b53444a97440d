"""Passwords: the prompt at a terminal, whatever ends it; and where a password may be seen afterwards."""

import io
import os
import pathlib
import pwd
import signal
import socket
import subprocess

import pexpect
import pytest
from accepting import Accepting
from daemon import RAVC, wait_for
from memory import is_in_memory
from processes import children

CANARY = "kanarienvogel"
PROMPT = "[ravc] password for joe: "

pytestmark = pytest.mark.usefixtures("home")


# --- the prompt


class Terminal:
    """A shell with job control at a pseudo-terminal. It leaves the terminal's modes as its jobs left them."""

    def __init__(self):
        self.seen = io.BytesIO()
        self.shell = pexpect.spawn("/bin/dash", ["-i"], env={**os.environ, "PS1": "ready> ", "ENV": ""}, timeout=20)
        self.shell.logfile_read = self.seen
        self.await_shell()

    def await_shell(self):
        self.shell.expect_exact("ready> ")

    def run(self, *words):
        self.shell.sendline(" ".join(map(str, words)))

    def await_prompt(self):
        self.shell.expect_exact(PROMPT)
        self.await_echo(False)

    def await_echo(self, on):
        wait_for(lambda: self.shell.getecho() == on, f"echo to be {on}")

    def job(self):
        """The process id of what the shell runs."""
        (pid,) = children(self.shell.pid)
        return pid

    def status(self):
        """How the last job has ended."""
        self.run("echo status=$?=")
        self.shell.expect(r"status=(\d+)=")
        return int(self.shell.match.group(1))


@pytest.fixture
def terminal():
    terminal = Terminal()
    yield terminal
    terminal.shell.close(force=True)


@pytest.fixture
def asking(terminal, accepting):
    """The terminal, with ravc asking for a password."""
    terminal.run(RAVC.resolve(), "-u", accepting.destination, "-r", "login", "joe")
    terminal.await_prompt()
    return terminal


def test_password_is_read_and_not_shown(asking, accepting):
    asking.shell.sendline(CANARY)
    asking.await_shell()
    assert asking.shell.getecho()
    assert asking.status() == 0
    assert CANARY.encode() not in asking.seen.getvalue()
    assert accepting.requests[0] == ("Login", {"User": "joe", "Password": CANARY})


def test_prompt_is_followed_by_one_line_feed(asking):
    asking.shell.sendline(CANARY)
    asking.await_shell()
    assert asking.seen.getvalue().decode().endswith(PROMPT + "\r\nready> ")


def test_end_of_input_is_an_empty_password(asking, accepting):
    asking.shell.sendeof()
    asking.await_shell()
    assert asking.shell.getecho()
    assert accepting.requests[0] == ("Login", {"User": "joe", "Password": ""})


def test_what_is_typed_ahead_of_echo_off_is_no_password(terminal, accepting):
    """It may have been shown, and was meant for something else."""
    terminal.run("sleep 1000")
    terminal.shell.expect_exact("sleep 1000\r\n")
    terminal.shell.sendline("typed ahead")
    terminal.shell.expect_exact("typed ahead\r\n")
    terminal.shell.sendintr()
    terminal.await_shell()
    terminal.run(RAVC.resolve(), "-u", accepting.destination, "-r", "login", "joe")
    terminal.await_prompt()
    terminal.shell.sendline(CANARY)
    terminal.await_shell()
    assert accepting.requests[0][1]["Password"] == CANARY


def test_ctrl_c_ends_it_with_echo_on(asking, accepting):
    asking.shell.send("half")
    asking.shell.sendintr()
    asking.await_shell()
    assert asking.shell.getecho()
    assert asking.status() == 128 + signal.SIGINT
    assert "Login" not in accepting.methods()


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGSEGV])
def test_signal_ends_it_with_echo_on(asking, accepting, number):
    os.kill(asking.job(), number)
    asking.await_shell()
    assert asking.shell.getecho()
    assert asking.status() in (128 + number, 128 + signal.SIGABRT)  # a sanitizer makes one of the other
    assert "Login" not in accepting.methods()


def test_stopped_and_continued(asking, accepting):
    for _ in range(2):
        asking.shell.sendcontrol("z")
        asking.await_shell()
        assert asking.shell.getecho()
        asking.run("fg")
        asking.await_echo(False)
    asking.shell.sendline(CANARY)
    asking.await_shell()
    assert asking.shell.getecho()
    assert CANARY.encode() not in asking.seen.getvalue()
    assert accepting.requests[0] == ("Login", {"User": "joe", "Password": CANARY})


# --- standard input that is no terminal


def run(accepting, *arguments, **settings):
    return subprocess.run([RAVC, "-u", accepting.destination, *map(str, arguments)], capture_output=True, text=True,
                          timeout=60, check=False, **settings)


def test_script_from_standard_input_holds_the_password_in_its_next_line(accepting):
    result = run(accepting, "-s", input=f"login joe\n{CANARY}\necho after\n")
    assert (result.returncode, result.stdout, result.stderr) == (0, PROMPT + "\nafter\n", "")
    assert ("Login", {"User": "joe", "Password": CANARY}) in accepting.requests


def test_password_at_the_end_of_input_is_empty(accepting):
    result = run(accepting, "-r", "login", "joe", stdin=subprocess.DEVNULL)
    assert (result.returncode, result.stdout) == (0, PROMPT + "\n")
    assert accepting.requests[0] == ("Login", {"User": "joe", "Password": ""})


# --- who is logged in at the start


ME = pwd.getpwuid(os.getuid()).pw_name


@pytest.mark.parametrize("auth, params", [("joe:pw", {"User": "joe", "Password": "pw"}), ("joe:", {"User": "joe"}),
                                          ("token", {"User": "token"}), ("joe:p:w", {"User": "joe", "Password": "p:w"})])
def test_auth_logs_in_before_anything_else(accepting, auth, params):
    assert run(accepting, "-a", auth, "-s", stdin=subprocess.DEVNULL).returncode == 0
    assert accepting.requests[:3] == [
        ("Login", params), ("GetParameterValues", {"ParameterNames": ["Device.Users.SystemAccess"]}),
        ("JoinGroup", {"Group": 4})]
    assert accepting.methods().count("Login") == 1


def test_auth_that_is_refused_ends_it(accepting):
    accepting.refused = {"Login", "SetAuth"}
    for arguments in (("-s",), ("-r", "get", "x"), ("-l",)):
        accepting.requests.clear()
        result = run(accepting, "-a", "joe:pw", *arguments, input="echo on\n")
        assert (result.returncode, result.stdout, result.stderr) == (1, "", "Failed to authenticate user\n")
        assert accepting.methods() == ["Login", "SetAuth", "GetParameterValues", "Logout"]


def test_auth_by_token(accepting):
    accepting.refused = {"Login"}
    accepting.values["Device.Users.CurrentUser"] = "ann"
    assert run(accepting, "-a", "token", "-r", "get", "x").returncode == 0
    assert accepting.requests[:2] == [("Login", {"User": "token"}), ("SetAuth", {"Token": "token"})]
    accepting.requests.clear()
    assert run(accepting, "-a", "token", "-s", input="logout\n").returncode == 0
    assert accepting.requests[-1] == ("SetAuth", {"Token": ""})


def test_login_command_that_is_refused_ends_a_script(accepting):
    accepting.refused = {"Login", "SetAuth"}
    result = run(accepting, "-s", input="login joe -p pw\necho on\n")
    assert (result.returncode, result.stdout, result.stderr) == (255, "Failed to authenticate user\n", "")


def test_login_command_alone_is_the_user_of_the_environment(accepting, monkeypatch):
    monkeypatch.setenv("USER", "zoe")
    assert run(accepting, "-r", "login").returncode == 0
    assert accepting.requests[0] == ("Login", {"User": "zoe"})


@pytest.mark.parametrize("arguments", [(), ("-a", ":secret")])
def test_script_logs_the_local_user_in(accepting, arguments):
    run(accepting, *arguments, "-s", stdin=subprocess.DEVNULL)
    assert accepting.requests[0] == ("JoinGroup", {"Group": 4})
    assert accepting.requests[1] == ("Login", {"User": ME})


def test_other_modes_log_nobody_in(accepting):
    run(accepting, "-r", "get", "x")
    run(accepting, "-e", "16")
    assert "Login" not in accepting.methods()


def test_script_logs_nobody_in_over_tcp():
    daemon = Accepting()
    try:
        assert run(daemon, "-s", stdin=subprocess.DEVNULL).returncode == 0
        assert daemon.methods() == ["JoinGroup"]
    finally:
        daemon.close()


def test_script_logs_nobody_in_after_the_startup_script_has(accepting, tmp_path):
    config = tmp_path / "config"
    config.write_text("login_if_guest joe pw\nlogin_if_guest ann pw\n")
    run(accepting, "-c", config, "-s", stdin=subprocess.DEVNULL)
    assert [params for method, params in accepting.requests if method == "Login"] == [
        {"User": "joe", "Password": "pw"}]


def test_script_of_somebody_given_stays_a_guest_after_a_log_out_at_the_start(accepting, tmp_path):
    config = tmp_path / "config"
    config.write_text("logout\n")
    run(accepting, "-a", "joe:pw", "-c", config, "-s", stdin=subprocess.DEVNULL)
    assert [method for method in accepting.methods() if method.startswith("Log")] == ["Login", "Logout"]


def test_startup_script_that_is_a_fifo_is_passed_over(accepting, tmp_path):
    os.mkfifo(tmp_path / "config")
    assert run(accepting, "-c", tmp_path / "config", "-n", "x").stdout == "Unsupported :(\n"


# --- where a password may be seen afterwards


def script(accepting, *arguments):
    return subprocess.Popen([RAVC, "-u", accepting.destination, *arguments, "-s"], stdin=subprocess.PIPE,
                            stdout=subprocess.DEVNULL)


def give(process, lines):
    process.stdin.write(lines.encode())
    process.stdin.flush()


def end(process):
    process.stdin.close()
    process.stdin = None
    assert process.wait(20) == 0


def asked_for(accepting, name):
    return ("GetParameterValues", {"ParameterNames": [name]}) in accepting.requests


@pytest.mark.parametrize("auth, startup, lines", [
    (f"joe:{CANARY}", "", ""), ("joe:x", "", f"login joe -p {CANARY}\n"), ("joe:x", "", f"login joe\n{CANARY}\n"),
    ("", f"login_if_guest joe {CANARY}\n", ""), ("", f"# a comment\nlogin joe -p \\\n{CANARY}\n", "")],
    ids=["option", "word", "prompt", "startup", "joined"])  # the default ones are in the environment of what runs
def test_password_is_nowhere_in_memory_after_a_log_out(accepting, tmp_path, auth, startup, lines):
    config = tmp_path / "config"
    config.write_text(startup)
    process = script(accepting, "-a", auth, "-c", config)
    try:
        give(process, lines + "cat in\n")
        wait_for(lambda: asked_for(accepting, "in"), "the login")
        assert is_in_memory(process.pid, CANARY)  # to log in again with: this test can see it
        give(process, "logout\ncat out\n")
        wait_for(lambda: asked_for(accepting, "out"), "the log-out")
        assert not is_in_memory(process.pid, CANARY)
    finally:
        end(process)


@pytest.mark.parametrize("answered", [True, False])
def test_password_of_debug_is_nowhere_in_memory_after_it(accepting, tmp_path, open_shell, answered, monkeypatch):
    monkeypatch.setenv("ASAN_OPTIONS", "detect_leaks=0:abort_on_error=1")  # of the abandoned command
    accepting.refused = {"Execute"}  # else whoever has started the shell would be hung up
    accepting.unanswered = set() if answered else {"Execute"}
    shell = open_shell(accepting.destination).wait_line("")
    shell.send("debug temporary\r")
    shell.wait(shell.hides_keys, "the password to be asked for")
    shell.send(f"{CANARY}\r")
    shell.wait(lambda: "Execute" in accepting.methods(), "the request")
    if not answered:
        shell.send("\x03")
    shell.wait_line("")
    assert accepting.requests[-1][1]["ParameterList"][1] == {"Name": "UserPassword", "Value": CANARY}
    accepting.unanswered = set()
    shell.enter("cat in")
    assert not is_in_memory(shell.process.pid, CANARY)


@pytest.mark.parametrize("auth", ["joe:%s", "%s"])
def test_password_and_token_leave_the_process_list_before_anything_waits(tmp_path, auth):
    with socket.socket(socket.AF_UNIX) as mute:
        mute.bind(str(tmp_path / "mute"))
        mute.listen()
        process = subprocess.Popen([RAVC, "-u", tmp_path / "mute", "-a", auth % CANARY], stdout=subprocess.DEVNULL)
        try:
            mute.accept()[0].close()
            assert CANARY.encode() not in pathlib.Path(f"/proc/{process.pid}/cmdline").read_bytes()
        finally:
            process.kill()
            process.wait()


def test_no_core_images(accepting):
    process = script(accepting)
    try:
        wait_for(lambda: "Login" in accepting.methods(), "the login")
        limits = pathlib.Path(f"/proc/{process.pid}/limits").read_text()
        assert next(line for line in limits.splitlines() if "core file" in line).split()[4] == "0"
    finally:
        end(process)
