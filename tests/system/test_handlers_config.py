"""Handlers take part when a whole configuration comes back: restored, reset, or from a checkpoint that ran out."""

import pytest
from daemon import wait_for
from handlers import client, daemon  # noqa: F401  (fixtures)
from handlers import AWAIT_GO, House, node, parameter, read, table, write


def method(**arguments):
    return {"#attr": {"type": "method"}, **({"#input": arguments} if arguments else {})}


CHANGES = "cat >>$LEFT/asked; echo '{}'"
REFUSES = "cat >/dev/null; echo '{\"error\": {\"code\": 9001, \"message\": \"not now\"}}'"


@pytest.fixture
def house(tmp_path):
    house = House(
        tmp_path / "house",
        Host=parameter(handlers={1: "changes"}, default="home", access="readWrite"),
        Plain=parameter(default="", access="readWrite"),
        Row=table(handlers={2: "changes", 3: "changes"}, Name=parameter(default="", access="readWrite",
                                                                      handlers={1: "changes"})),
        LocalConfig=node(Restore=method(Name=parameter(default="", access="readWrite", mandatory=True)),
                         Checkpoint=method(Timeout=parameter("unsignedInt", default=60, access="readWrite")),
                         Confirm=method()))
    house.script("changes", CHANGES)
    house.seen = 0
    return house


def execute(client, name, **arguments):
    return client.execute(f"Device.LocalConfig.{name}", **arguments)


def asked(house):
    """What was asked since the last call: (action, path, value)."""
    found = [(each["action"], each["path"], each.get("value")) for each in house.asked("asked")[house.seen:]]
    house.seen += len(found)
    return found


def furnish(client, house):
    """A restore point with a host and two rows, and something else running."""
    assert "result" in write(client, Host="villa")
    for number in (1, 2):
        client.result("AddObject", {"ObjectName": "Device.Row."})
        assert "result" in write(client, **{f"Row__{number}__Name": str(number)})
    client.result("SaveConfig", {"RestorePointName": "one"})
    assert "result" in write(client, Host="shed", Plain="x")
    client.result("DeleteObject", {"ObjectName": "Device.Row.1."})
    client.result("AddObject", {"ObjectName": "Device.Row."})
    asked(house)


BACK = [("set", "Device.Host", "villa"), ("delete", "Device.Row.3.", None), ("add", "Device.Row.", None),
        ("set", "Device.Row.1.Name", "1")]


def test_a_restore_asks_for_each_change(client, house):
    furnish(client, house)
    assert "result" in execute(client, "Restore", Name="one")
    assert asked(house) == BACK
    assert read(client, "Device.Host", "Device.Plain", "Device.Row.1.Name", "Device.Row.2.Name") == {
        "Device.Host": "villa", "Device.Plain": "", "Device.Row.1.Name": "1", "Device.Row.2.Name": "2"}
    assert client.code("GetParameterValues", {"ParameterNames": ["Device.Row.3.Name"]}) == 9005


def test_a_configuration_that_is_downloaded_asks_and_its_end_is_told(client, house, tmp_path):
    furnish(client, house)
    document = {"FileType": "Config", "URL": f"file://{tmp_path}/config.json"}
    assert client.result("Upload", document) == {}
    assert "result" in write(client, Host="tent")
    client.result("JoinGroup", {"Group": 3})
    house.script("changes", REFUSES)
    assert client.code("Download", {**document, "TransactionID": 1}) == 9003
    assert client.event()["Params"] == {"TransactionID": 1, "FaultCode": 9003, "FaultString": "Invalid arguments"}
    house.script("changes", CHANGES)
    assert client.result("Download", {**document, "TransactionID": 2}) == {}
    assert client.event()["Params"] == {"TransactionID": 2, "FaultCode": 0, "FaultString": ""}
    assert read(client, "Device.Host") == {"Device.Host": "shed"}


def test_a_reset_asks_as_well(client, house):
    furnish(client, house)
    assert client.result("FactoryReset") == {}
    assert asked(house) == [("set", "Device.Host", "home"), ("delete", "Device.Row.2.", None),
                            ("delete", "Device.Row.3.", None)]
    assert read(client, "Device.Host", "Device.Plain") == {"Device.Host": "home", "Device.Plain": ""}


def test_one_that_refuses_keeps_everything_as_it_is(client, house):
    furnish(client, house)
    house.script("changes", REFUSES)
    for reply in (execute(client, "Restore", Name="one"), client.call("FactoryReset")):
        assert reply["error"]["data"]["Data"] == {"Device.Host": "9001 Request denied: not now"}
    assert read(client, "Device.Host", "Device.Plain", "Device.Row.3.Name") == {
        "Device.Host": "shed", "Device.Plain": "x", "Device.Row.3.Name": ""}
    house.script("changes", CHANGES)
    assert "result" in execute(client, "Restore", Name="one"), "nor was anything stored"


def test_a_checkpoint_asks_when_it_comes_back(client, house):
    furnish(client, house)
    assert "result" in execute(client, "Checkpoint", Timeout=1)
    assert "result" in write(client, Host="tent", Plain="y")
    asked(house)
    wait_for(lambda: read(client, "Device.Plain") == {"Device.Plain": "x"}, "the checkpoint")
    assert asked(house) == [("set", "Device.Host", "shed")]
    assert read(client, "Device.Host") == {"Device.Host": "shed"}


def test_a_checkpoint_that_is_refused_is_lost(client, house):
    client.result("JoinGroup", {"Group": 2})
    assert "result" in execute(client, "Checkpoint", Timeout=1)
    assert "result" in write(client, Host="tent")
    house.script("changes", REFUSES)

    def events():
        assert read(client, "Device.Host") == {"Device.Host": "tent"}
        return [event["params"]["Params"]["Event"] for event in client.events]

    wait_for(lambda: "CheckpointLost" in events(), "the event")
    assert "CheckpointRestored" not in events()
    assert client.result("SaveConfig") == {}


WAITS = "cat >>$LEFT/asked; " + AWAIT_GO


def test_nothing_unconfirmed_is_saved_while_a_checkpoint_comes_back(client, house):
    assert "result" in execute(client, "Checkpoint", Timeout=1)
    assert "result" in write(client, Host="tent")
    asked(house)
    house.script("changes", WAITS)
    wait_for(lambda: asked(house) != [], "the checkpoint")
    for reply in (client.call("SaveConfig"), execute(client, "Confirm"), execute(client, "Checkpoint", Timeout=1)):
        assert reply["error"]["code"] == 9001
    house.let_go()
    wait_for(lambda: read(client, "Device.Host") == {"Device.Host": "home"}, "the end of it")
    assert client.result("SaveConfig") == {}


def test_a_reset_forgets_a_checkpoint_that_comes_back(client, house):
    assert "result" in write(client, Host="villa")
    assert "result" in execute(client, "Checkpoint", Timeout=1)
    assert "result" in write(client, Host="home", Plain="x")
    asked(house)
    house.script("changes", WAITS)
    wait_for(lambda: asked(house) == [("set", "Device.Host", "villa")], "the checkpoint")
    assert client.result("FactoryReset") == {}
    house.let_go()
    wait_for(lambda: asked(house) == [("set", "Device.Host", "home")], "its undoing")
    assert read(client, "Device.Host", "Device.Plain") == {"Device.Host": "home", "Device.Plain": ""}


def test_a_program_of_the_devices_maker_comes_first(client, house):
    furnish(client, house)
    house.script("factory-reset", "cat >>$LEFT/reset; exit 3")
    error = client.call("FactoryReset", {"CleanAll": True})["error"]
    assert (error["code"], error["data"]["Detail"]) == (9002, "factory-reset: ended with the status 3")
    assert read(client, "Device.Host") == {"Device.Host": "shed"}
    assert asked(house) == []
    house.script("factory-reset", "cat >>$LEFT/reset")
    assert client.result("FactoryReset") == {}
    assert read(client, "Device.Host", "Device.Plain") == {"Device.Host": "home", "Device.Plain": ""}
    assert house.asked("reset") == [{"action": "factory-reset", "cleanAll": True},
                                    {"action": "factory-reset", "cleanAll": False}]


def test_a_client_that_goes_stops_no_reset(house, daemon):
    house.script("factory-reset", "cat >/dev/null; " + AWAIT_GO)
    with daemon.connect() as other, daemon.connect() as going:
        furnish(other, house)
        going.send({"jsonrpc": "2.0", "id": 1, "method": "FactoryReset"})
        assert read(other, "Device.Host") == {"Device.Host": "shed"}
        going.close()
        house.let_go()
        wait_for(lambda: read(other, "Device.Host") == {"Device.Host": "home"}, "the reset")
