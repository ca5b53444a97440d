"""The handlers that docs/HACKING.md shows, as they stand there."""

import os
import re
import shutil

import pytest
from daemon import SOURCE
from handlers import read

PAGE = (SOURCE / "docs" / "HACKING.md").read_text(encoding="utf-8")


def block(language):
    (text,) = re.findall(rf"^```{language}\n(.*?)^```$", PAGE, re.S | re.M)
    return text


@pytest.fixture
def client(tmp_path, start_ravd):
    schema, handlers = tmp_path / "schema", tmp_path / "handlers"
    shutil.copytree(SOURCE / "schema", schema)
    (schema / "board.json").write_text(block("json"))
    handlers.mkdir(mode=0o755)
    for name, language in (("board", "sh"), ("roll", "lua")):
        (handlers / name).write_text(block(language))
        (handlers / name).chmod(0o755)
    daemon = start_ravd("--handlers", handlers, schema=schema)
    with daemon.connect() as client:
        yield client
    assert "<4>" not in daemon.log()


def test_the_one_in_shell(client):
    values = read(client, "Device.Board.")
    assert values["Device.Board.Kernel"] == os.uname().release
    assert 0 <= values["Device.Board.Load"] < 10000


@pytest.mark.parametrize("arguments, least, most", [({}, 1, 6), ({"Sides": 2, "Times": 50}, 50, 100)])
def test_the_one_in_lua(client, arguments, least, most):
    (output,) = client.execute("Device.Board.Roll", **arguments)["result"]["ParameterList"]
    assert output["Name"] == "Sum" and least <= output["Value"] <= most
