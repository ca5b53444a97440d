"""Lua scripts run by ravc."""

import json
import subprocess

import pytest
from daemon import RAVC


class Scripts:
    """Runs texts as Lua scripts against one daemon."""

    def __init__(self, socket, folder):
        self.socket = socket
        self.folder = folder

    def command(self, text, *arguments):
        """The command that runs text, a script with these arguments, in the folder; it is written to script.lua there."""
        (self.folder / "script.lua").write_bytes(text if isinstance(text, bytes) else text.encode())
        return [RAVC.resolve(), "-u", self.socket, "-S", "script.lua", *map(str, arguments)]

    def run(self, text, *arguments, **settings):
        """The finished process."""
        return subprocess.run(self.command(text, *arguments), capture_output=True, text=True, timeout=120, check=False,
                              cwd=self.folder, **settings)

    def output(self, text, *arguments, **settings):
        """What a script that must not fail prints."""
        result = self.run(text + "\nprint('the end')", *arguments, **settings)
        assert result.stdout.endswith("the end\n"), result.stdout
        assert (result.returncode, result.stderr) == (0, ""), result
        return result.stdout.removesuffix("the end\n")

    def values(self, expression):
        """What the values of an expression are as JSON; null for nil, [code, message] for a failure's table."""
        text = self.output(f"""
            local function plain(value)
                if value == nil then return rv.null end
                if type(value) == "table" and getmetatable(value) and math.type(value.code) then
                    return {{value.code, value.message}}
                end
                return value
            end
            local values = table.pack({expression})
            for i = 1, values.n do print(rv.encode(plain(values[i]))) end""")
        return [json.loads(line) for line in text.splitlines()]


@pytest.fixture
def lua(ravd, tmp_path):
    """Scripts against the daemon of the fixture ravd."""
    return Scripts(ravd.socket, tmp_path)
