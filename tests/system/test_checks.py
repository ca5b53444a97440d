"""The scripts of tests/checks: each runs as it stands against a daemon of its own, and says itself what it prints.

"#| TEXT" is a line that the commands above it print, "#? NUMBER" the exit status where that is not 0. To the script both
are comments; so their quotes must come in pairs.
"""

import pathlib

import pytest

SCRIPTS = sorted((pathlib.Path(__file__).parents[1] / "checks").glob("*.ravc"))

pytestmark = pytest.mark.usefixtures("home")


def expected(script):
    """What script is to print, and its exit status."""
    lines = script.read_text().splitlines()
    printed = "".join(line[3:] + "\n" for line in lines if line.startswith("#|"))
    return printed, next((int(line[3:]) for line in lines if line.startswith("#? ")), 0)


def outcome(ravc, script):
    result = ravc("-s", script)
    assert result.stderr == ""
    return result.stdout, result.returncode


@pytest.mark.parametrize("script", SCRIPTS, ids=lambda script: script.stem)
def test_script(ravc, script):
    assert outcome(ravc, script) == expected(script)


def test_what_is_not_as_expected_is_noticed(ravc, tmp_path):
    for there, instead in (("#|  = true", "#|  = false"), ("#|  = true\n", ""), ("get Device.Time.Nope\n", "")):
        script = tmp_path / "script"
        text = next(path for path in SCRIPTS if path.stem == "reading").read_text()
        script.write_text(text.replace(there, instead, 1))
        assert script.read_text() != text
        assert outcome(ravc, script) != expected(script)
