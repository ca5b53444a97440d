"""What README and the documentation show, run as it stands."""

import json
import os
import re
import shutil
import subprocess

import pytest
from daemon import RAVC, RAVD, SOURCE, wait_for
from screen import PROMPT


def blocks(file, opening):
    """The code blocks of a page that begin with this line."""
    pattern = rf"^{re.escape(opening)}\n(.*?)^```$"
    return re.findall(pattern, (SOURCE / file).read_text(encoding="utf-8"), re.S | re.M)


def steps(block):
    """[(command, what it prints)] of a console block; here-documents belong to their command."""
    found = []
    rest = block.splitlines()
    while rest:
        line = rest.pop(0)
        if line.startswith("$ "):
            command = [line[2:]]
            while "<<" in command[0] and command[-1] != "END":
                command.append(rest.pop(0))
            found.append(["\n".join(command), []])
        else:
            found[-1][1].append(line)
    return [(command, "".join(line + "\n" for line in lines)) for command, lines in found]


@pytest.fixture
def shell(ravd, tmp_path):
    """Starts a command line in which ravc talks to the daemon of the fixture ravd."""

    def start(command):
        script = f'ravc() {{ "{RAVC.resolve()}" -u "{ravd.socket}" "$@"; }}\n{command}\n'
        return subprocess.Popen(["/bin/bash", "-c", script], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                env={**os.environ, "HOME": str(tmp_path)}, cwd=tmp_path, start_new_session=True)

    return start


def finished(process):
    return process.communicate(timeout=60)[0].decode()


def like(text):
    """A text with this machine's name as the page's, and every number alike."""
    return re.sub(r"\d+", "0", text.replace(os.uname().nodename, "gateway"))


CONSOLE = [block for block in blocks("README.md", "```console") if not block.startswith("# ")]


@pytest.mark.parametrize("block", [block for block in CONSOLE if " &\n" not in block])
def test_readme_console(shell, block):
    assert steps(block)
    for command, printed in steps(block):
        assert like(finished(shell(command))) == like(printed)


def test_readme_session(ravd, open_shell):
    (block,) = blocks("README.md", "```text")
    shown = open_shell(ravd.socket).wait_line("")
    for line in block.splitlines():
        prompt = PROMPT.match(line)
        if not prompt:
            shown.wait_text(line)
            continue
        shown.wait_line("").send(line[prompt.end():] + "\r")
        shown.wait(lambda line=line: line.partition("@")[2] in shown.text(), line)
    assert shown.wait_end() == 0


@pytest.mark.parametrize("block", [block for block in CONSOLE if " &\n" in block])
def test_readme_console_with_a_listener(shell, block):
    (listen, _), (send, printed) = steps(block)
    listener = shell(listen.removesuffix(" &"))
    os.set_blocking(listener.stdout.fileno(), False)
    text = []

    def shown():
        finished(shell(send))
        text.append((listener.stdout.read() or b"").decode())
        return printed in "".join(text)

    try:
        wait_for(shown, printed)
    finally:
        os.killpg(listener.pid, 15)
        listener.wait(20)
        listener.stdout.close()


def test_examples_of_the_client_manual(shell):
    (block,) = blocks("docs/ravc.1.scd", "# EXAMPLES\n\n```")
    commands = [command for command, _ in steps("".join("$ " + line + "\n" if line.startswith("ravc ") else line + "\n"
                                                        for line in block.splitlines()))]
    assert len(commands) == 5
    for command in commands:
        if " -l " not in command:
            process = shell(command)
            text = finished(process)
            assert process.returncode == 0 and "[" not in text[:1], (command, text)


def test_example_of_the_schema_manual(tmp_path):
    (block,) = blocks("docs/ravd-schema.5.scd", "# EXAMPLE\n\n```")
    folder = tmp_path / "schema"
    shutil.copytree(SOURCE / "schema", folder)
    (folder / "example.json").write_text(block)
    check = [RAVD, "--check", "--schema", folder]
    result = subprocess.run(check, capture_output=True, text=True, timeout=60, check=False)
    assert result.returncode == 0, result.stderr
    (folder / "example.json").write_text(block.replace('"string"', '"strange"'))
    result = subprocess.run(check, capture_output=True, text=True, timeout=60, check=False)
    assert result.returncode == 1 and "example.json:5:" in result.stderr


def test_protocol_page_lists_what_the_daemon_serves(connect):
    page = (SOURCE / "docs" / "protocol.md").read_text(encoding="utf-8")
    rows = re.findall(r"^\| ((?:`[A-Za-z.]+`(?:, )?)+) \|", page, re.M)
    named = {name for row in rows for name in re.findall(r"`([A-Za-z.]+)`", row)}
    listed = {name for name in named if not name.startswith("Device.")}  # those are the model's own
    served = {method["name"] for method in connect().result("rpc.discover")["methods"]}
    assert served - {"Hello", "Event"} == listed


def test_usage_and_manual_know_the_same_options():
    usage = subprocess.run([RAVC, "-h"], capture_output=True, text=True, timeout=60, check=True).stdout
    manual = (SOURCE / "docs" / "ravc.1.scd").read_text(encoding="utf-8")
    for option in re.findall(r"--[a-z-]+", usage):
        assert option in manual, option


def test_manual_knows_every_command(shell):
    commands = re.findall(r"^([a-z_]+)\b.* - ", finished(shell("echo help | ravc")), re.M)
    assert len(commands) > 30
    manual = (SOURCE / "docs" / "ravc.1.scd").read_text(encoding="utf-8").partition("\n# COMMANDS\n")[2]
    described = "\n".join(re.findall(r"^\*.*", manual.partition("\n# ")[0], re.M))
    for command in commands:
        assert f"*{command}*" in described, command


def test_daemon_manual_knows_every_option():
    usage = subprocess.run([RAVD, "--help"], capture_output=True, text=True, timeout=60, check=True).stdout
    manual = (SOURCE / "docs" / "ravd.8.scd").read_text(encoding="utf-8")
    for option in re.findall(r"--[a-z-]+", usage):
        assert option in manual, option


def test_front_door_is_documented():
    help_text = subprocess.run([SOURCE / "dev", "help"], capture_output=True, text=True, timeout=60, check=True).stdout
    for command in re.findall(r"\./dev ([a-z]+)", (SOURCE / "README.md").read_text(encoding="utf-8")):
        assert command in help_text, command


def test_presets_are_all_documented():
    presets = json.loads((SOURCE / "CMakePresets.json").read_text())["configurePresets"]
    help_text = subprocess.run([SOURCE / "dev", "help"], capture_output=True, text=True, timeout=60, check=True).stdout
    for preset in presets:
        assert preset.get("hidden") or preset["name"] in help_text, preset["name"]
