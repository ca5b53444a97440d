"""Every method of the default model, executed with no, with wrong and with right input. A new one needs a row here."""

import json

import pytest
from daemon import SOURCE
from users import add_user, log_in

# What is right input: an argument list, or a function of a connection that gives one, and what the reply may hold.
ROWS = {
    "Device.DNS.Diagnostics.NSLookup": {"HostName": "name.invalid", "DNSServer": "127.0.0.1:1", "Timeout": 50},
    "Device.IP.Diagnostics.IPPing": {"Host": "127.0.0.1", "NumberOfRepetitions": 1},
    "Device.IP.Diagnostics.TraceRoute": {"Host": "127.0.0.1", "NumberOfRepetitions": 1},
    "Device.LocalConfig.Checkpoint": {"Timeout": 60},
    "Device.LocalConfig.Confirm": {},
    "Device.LocalConfig.Diff": {},
    "Device.LocalConfig.Restore": {"Name": "one"},
    "Device.System.Debug": {"Mode": "Temporary", "UserPassword": "secret"},
    "Device.Users.User.{i}.CreateToken": {},
    "Device.Users.User.{i}.RevokeTokens": {},
}


def methods(node, path=""):
    """(pattern, schema) of every method below a node of the schema."""
    for name, child in node.items():
        if not isinstance(child, dict) or name in ("#attr", "#input", "#output"):
            continue
        full = f"{path}.{'{i}' if name == '#template' else name}".lstrip(".")
        if child.get("#attr", {}).get("type") == "method":
            yield full, child
        yield from methods(child, full)


SCHEMA = dict(pair for file in sorted((SOURCE / "schema").glob("*.json")) for pair in methods(json.loads(file.read_text())))


def execute(client, pattern, arguments):
    return client.execute(pattern.replace("{i}", "1"), **arguments)


@pytest.fixture
def boss(ravd):
    """A connection of an admin who has a password."""
    with ravd.connect() as client:
        add_user(client, "boss", role="admin")
        assert log_in(client, "boss") == 0
        client.result("SaveConfig", {"RestorePointName": "one"})
        assert "result" in client.execute("Device.LocalConfig.Checkpoint", Timeout=60)  # there is one to be confirmed
        yield client


def test_every_method_has_a_row():
    assert SCHEMA.keys() == ROWS.keys()


@pytest.mark.parametrize("pattern", SCHEMA)
def test_no_input(boss, pattern):
    mandatory = [name for name, node in SCHEMA[pattern].get("#input", {}).items() if node["#attr"].get("mandatory")]
    reply = execute(boss, pattern, {})
    if mandatory:
        assert reply["error"]["code"] == 9003
        assert reply["error"]["data"]["Data"] == {name: "9003 Invalid arguments: missing" for name in mandatory}
    else:
        assert "result" in reply, reply


@pytest.mark.parametrize("pattern", SCHEMA)
def test_wrong_input(boss, pattern):
    wrong = {"NoSuchArgument": 1, **{name: [] for name in SCHEMA[pattern].get("#input", {}) if name != "#attr"}}
    error = execute(boss, pattern, wrong)["error"]
    assert error["code"] == 9003
    assert {name: text[:4] for name, text in error["data"]["Data"].items()} == \
        {name: "9005" if name == "NoSuchArgument" else "9006" for name in wrong}


@pytest.mark.parametrize("pattern", SCHEMA)
def test_right_input(boss, pattern):
    if pattern.endswith(".Checkpoint"):
        execute(boss, "Device.LocalConfig.Confirm", {})  # one at a time
    reply = execute(boss, pattern, ROWS[pattern])
    if "lets no echo request out" in str(reply):
        pytest.skip("the system lets no echo request out")
    told = {pair["Name"] for pair in reply["result"]["ParameterList"]}
    described = SCHEMA[pattern].get("#output", {})
    assert {name.split(".")[0] for name in told} <= described.keys()
