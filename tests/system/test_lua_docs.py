"""What docs/lua.md shows, run as it stands; and that it shows all there is."""

import re

import pytest
from daemon import SOURCE

PAGE = (SOURCE / "docs" / "lua.md").read_text(encoding="utf-8")
EXAMPLES = re.findall(r"^```lua\n(.*?)^```\n```text\n(.*?)^```$", PAGE, re.S | re.M)


@pytest.mark.parametrize(("code", "printed"), EXAMPLES)
def test_example(ravc, tmp_path, code, printed):
    script = tmp_path / "example.lua"
    script.write_text(code)
    result = ravc("-S", script)
    assert (result.returncode, result.stdout, result.stderr) == (0, printed, "")


def test_every_example_shows_what_it_prints():
    assert len(EXAMPLES) == PAGE.count("```lua") == PAGE.count("```text") > 15


def test_every_function_has_an_example(ravc, tmp_path):
    script = tmp_path / "names.lua"
    script.write_text("for name in pairs(rv) do print('rv.' .. name) end")
    names = set(ravc("-S", script).stdout.split())
    headings = " ".join(re.findall(r"^### (.*)$", PAGE, re.M))
    assert names == set(re.findall(r"rv\.\w+", headings))
    code = "".join(code for code, _ in EXAMPLES)
    assert names == set(re.findall(r"rv\.\w+", code))
