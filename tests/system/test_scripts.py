"""Scripts: from files, from standard input, under a name of their own, and at the start."""

import json
import socket
import subprocess

import pytest
from daemon import RAVC
from program import VERSION, run

pytestmark = pytest.mark.usefixtures("home")


# --- scripts


def test_script_from_a_file_and_from_standard_input(ravc, tmp_path):
    script = tmp_path / "script"
    script.write_text(f"# facts\necho version\nget {VERSION} # of the software\nGetParameterValues {VERSION}\n")
    expected = "version\n = '0.2.1'\n = '0.2.1'\n"
    for arguments, settings in ((("-s", script), {}), ((f"--script={script}",), {}),
                                (("-s",), {"input": script.read_text()})):
        result = ravc(*arguments, **settings)
        assert (result.returncode, result.stdout) == (0, expected)


def test_script_command_whose_words_begin_with_a_comment_has_no_arguments(ravc):
    result = ravc("-s", input="get #x\nget # x\n")
    lines = result.stdout.splitlines()
    assert result.returncode == 0 and len(lines) > 200
    assert all(line.startswith("Device.") for line in lines)


def test_script_ends_at_a_command_that_is_not_callable_by_method(ravc):
    result = ravc("-s", input="echo a\ncd\necho b\n")
    assert (result.returncode, result.stdout) == (255, "a\ncd: unknown method.\n")


def test_script_that_can_not_be_opened(ravc):
    result = ravc("-s", "/nonexistent/script")
    assert (result.returncode, result.stdout) == (255, "Cannot open script file /nonexistent/script\n")


def test_interpreter_name_runs_a_script_with_a_first_line_of_its_own(ravd, tmp_path):
    interpreter = tmp_path / "ravc_interpreter"
    interpreter.symlink_to(RAVC.resolve())
    script = tmp_path / "script"
    script.write_text(f"#!{interpreter}\nget {VERSION}\n")
    result = run("-u", ravd.socket, script, program=interpreter)
    assert (result.returncode, result.stdout) == (0, " = '0.2.1'\n")


# --- start-up script


def test_startup_script_runs_silently_by_name_in_every_mode(ravc, home, connect):
    listener = connect()
    listener.call("JoinGroup", {"Group": 16})
    config = home / ".local" / "ravc" / "config"
    config.parent.mkdir(parents=True)
    config.write_text(f"echo hidden\nget {VERSION}\nnope\n")
    for arguments, expected in ((("-r", "get", VERSION), " = '0.2.1'\n"), (("-n", "x"), "Unsupported :(\n")):
        assert ravc(*arguments).stdout == expected
    assert "GetParameterValues" in requests_of(home, config.read_text())


def requests_of(home, script):
    """The methods that a run with this start-up script asks a recording daemon for."""
    (home / ".local" / "ravc" / "config").write_text(script)
    path = home / "recorder"
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(path))
        listener.listen()
        process = subprocess.Popen([RAVC, "-u", path, "-r", "nope"], stdout=subprocess.DEVNULL)
        connection, _ = listener.accept()
        lines = connection.makefile()
        methods = [json.loads(lines.readline())["method"] for _ in range(2)]
        process.kill()
        process.wait()
        connection.close()
    return methods


def test_startup_script_given_by_option(ravc, tmp_path):
    script = tmp_path / "config"
    script.write_text("echo hidden\n")
    for path in (script, tmp_path / "missing", tmp_path):
        assert ravc("-c", path, "-r", "get", VERSION).stdout == " = '0.2.1'\n"


def test_startup_script_of_a_home_that_does_not_fit_is_passed_over(ravc, tmp_path, monkeypatch):
    home = tmp_path / ("h" * 200) / ("h" * 200)
    config = home / ".local" / "ravc" / "config"
    config.parent.mkdir(parents=True)
    config.write_text("sleep 1000\n")
    monkeypatch.setenv("HOME", str(home))
    assert ravc("-r", "get", VERSION).stdout == " = '0.2.1'\n"
