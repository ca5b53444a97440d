"""The published test suite of Lua 5.3, run by ravc as its users' tests. LUA_TESTS names the folder that it is in."""

import os
import pathlib
import subprocess

import pytest
from daemon import RAVC
from lua import lua  # noqa: F401  (a fixture)

SUITE = pathlib.Path(os.environ.get("LUA_TESTS") or "/nonexistent")


@pytest.mark.skipif(not (SUITE / "all.lua").exists(), reason="LUA_TESTS names no folder with the test suite of Lua 5.3")
def test_suite(lua):
    (lua.folder / "suite.lua").write_text("arg = {[0] = 'all.lua'} _U = true dofile('all.lua')")
    result = subprocess.run([RAVC.resolve(), "-u", lua.socket, "-S", lua.folder / "suite.lua"], cwd=SUITE, timeout=500,
                            check=False, capture_output=True, text=True, errors="replace")
    assert "final OK !!!" in result.stdout, result.stdout[-4000:] + result.stderr
