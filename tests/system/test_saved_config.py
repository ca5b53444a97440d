"""SaveConfig, FactoryReset and Device.LocalConfig with a real daemon, from start to start."""

import json

import pytest
from daemon import wait_for
from users import USERS, add_user, code_of, log_in

CONTACT = "Device.System.Contact"
SERVERS = "Device.DNS.Client.Server."


def contact(client, value=None):
    """Sets the contact, or reads it."""
    if value is not None:
        assert client.result("SetParameterValues", {"ParameterList": [{"Name": CONTACT, "Value": value}]})
    return client.result("GetParameterValues", {"ParameterNames": [CONTACT]})["ParameterList"][0]["Value"]


def execute(client, method, **arguments):
    return client.execute(f"Device.LocalConfig.{method}", **arguments)


def differences(client):
    """{path: (change, saved, running)}."""
    rows = {}
    for pair in execute(client, "Diff")["result"]["ParameterList"]:
        parts = pair["Name"].split(".")
        if len(parts) == 3:
            rows.setdefault(parts[1], {})[parts[2]] = pair["Value"]
    return {row["Path"]: (row["Change"], row.get("Saved"), row.get("Running")) for row in rows.values()}


def system_events(client):
    """The events of the device so far; that it has been started is none of them."""
    contact(client)  # events come after the reply that they follow
    told = [event["params"]["Params"]["Event"] for event in client.events]
    return [event for event in told if event != "Boot"]


def servers(client):
    names = client.result("GetParameterNames", {"ParameterPath": SERVERS, "NextLevel": True})["ParameterList"]
    return [name["Name"] for name in names]


@pytest.fixture
def start(start_ravd, tmp_path):
    """Starts daemons one after another on one state folder."""
    return lambda *options: start_ravd(*options, state=tmp_path / "state")


def test_what_is_saved_is_there_after_a_restart_and_nothing_else(start):
    first = start()
    with first.connect() as client:
        contact(client, "saved")
        number = client.result("AddObject", {"ObjectName": SERVERS})["InstanceNumber"]
        client.result("SetParameterValues", {"ParameterList": [
            {"Name": f"{SERVERS}{number}.DNSServer", "Value": "192.0.2.53"}]})
        assert client.result("SaveConfig") == {}
        contact(client, "lost")
        client.result("AddObject", {"ObjectName": SERVERS})
    first.stop()
    with start().connect() as client:
        assert contact(client) == "saved"
        assert servers(client)[-1] == f"{SERVERS}{number}."
        assert client.result("AddObject", {"ObjectName": SERVERS})["InstanceNumber"] == number + 1


def test_nothing_is_saved_by_itself(start):
    first = start()
    with first.connect() as client:
        contact(client, "lost")
    first.stop()
    with start().connect() as client:
        assert contact(client) == ""


def test_restore_points_come_back_by_name(start):
    with start().connect() as client:
        for name in ("one", "naïve '; DROP TABLE x; --", "x" * 64, "../../etc/passwd"):
            contact(client, name[:20])
            assert client.result("SaveConfig", {"RestorePointName": name}) == {}
        contact(client, "another")
        for name in ("one", "x" * 64, "../../etc/passwd"):
            assert execute(client, "Restore", Name=name)["result"] == {"ParameterList": []}
            assert contact(client) == name[:20]
        assert execute(client, "Restore", Name="none")["error"]["code"] == 9003
        for name in ("", "x" * 65):
            assert client.code("SaveConfig", {"RestorePointName": name}) == 9003
        assert client.code("SaveConfig", {"RestorePointName": 1}) == -32602


def test_diff_names_what_is_not_saved(start):
    with start().connect() as client:
        assert differences(client) == {}
        contact(client, "new")
        number = client.result("AddObject", {"ObjectName": SERVERS})["InstanceNumber"]
        assert differences(client) == {CONTACT: ("Set", "", '"new"'), f"{SERVERS}{number}.": ("Added", None, None)}
        client.result("SaveConfig")
        assert differences(client) == {}
        client.result("DeleteObject", {"ObjectName": f"{SERVERS}{number}."})
        contact(client, "")
        assert differences(client) == {CONTACT: ("Set", '"new"', '""'), f"{SERVERS}{number}.": ("Deleted", None, None)}


def test_a_checkpoint_comes_back_unless_it_is_confirmed(start):
    daemon = start()
    with daemon.connect() as client:
        client.result("JoinGroup", {"Group": 2})
        contact(client, "before")
        assert execute(client, "Checkpoint", Timeout=1)["result"] == {"ParameterList": []}
        contact(client, "after")
        assert code_of(execute(client, "Checkpoint", Timeout=1)) == 9001
        assert client.code("SaveConfig") == 9001, "what may not last is not saved"
        wait_for(lambda: contact(client) == "before", "the checkpoint")
        assert "the checkpoint was not confirmed" in daemon.log()
        assert code_of(execute(client, "Confirm")) == 9001
        assert client.result("SaveConfig") == {}
        assert system_events(client) == ["CheckpointRestored", "ConfigSaved"]
        execute(client, "Checkpoint", Timeout=1)
        contact(client, "kept")
        assert execute(client, "Confirm")["result"] == {"ParameterList": []}
        execute(client, "Checkpoint", Timeout=1)  # ends later than the one that was confirmed
        contact(client, "later")
        wait_for(lambda: contact(client) != "later", "the checkpoint")
        assert contact(client) == "kept"
        for wrong in (0, 86401, "1"):
            assert code_of(execute(client, "Checkpoint", Timeout=wrong)) == 9003


def test_factory_reset_brings_the_defaults_back(start):
    first = start()
    with first.connect() as client:
        add_user(client, "joe")
        contact(client, "saved")
        client.result("SaveConfig", {"RestorePointName": "one"})
        client.result("JoinGroup", {"Group": 2})
        assert client.result("FactoryReset") == {}
        assert contact(client) == ""
        assert execute(client, "Restore", Name="one")["result"] == {"ParameterList": []}
        assert system_events(client) == ["FactoryReset", "ConfigRestored"]
    first.stop()
    with start().connect() as client:
        assert contact(client) == "", "the restore point was never saved for the next start"
        assert log_in(client, "joe") == 0, "users stay"


def test_a_clean_reset_takes_restore_points_and_users_too(start):
    first = start()
    with first.connect() as client, first.connect() as joe:
        add_user(client, "joe")
        assert log_in(joe, "joe") == 0
        client.result("SaveConfig", {"RestorePointName": "one"})
        assert client.result("FactoryReset", {"CleanAll": True, "DeviceMode": "Bridge"}) == {}
        mode = client.result("GetParameterValues", {"ParameterNames": ["Device.DeviceInfo.DeviceMode"]})
        assert mode["ParameterList"][0]["Value"] == "Bridge"
        assert client.code("FactoryReset", {"DeviceMode": "router"}) == 9003
        assert code_of(execute(client, "Restore", Name="one")) == 9003
        assert joe.code("GetParameterValues", {"ParameterNames": ["Device.Users.CurrentUser"]}) == 9001
        assert log_in(joe, "joe") == 9001
    told = [line for line in first.log().splitlines() if "first start: the user admin has the password" in line]
    assert len(told) == 2
    first.stop()
    second = start()
    with second.connect() as client:
        assert log_in(client, "admin", told[1].split()[-1]) == 0
        assert log_in(client, "admin", told[0].split()[-1]) == 9001
    assert "first start" not in second.log()


def test_only_admins(start):
    daemon = start("--listen", "tcp://127.0.0.1:0", "--allow-plain-login")
    with daemon.connect() as admin, daemon.connect_tcp() as joe:
        add_user(admin, "joe")
        assert log_in(joe, "joe") == 0
        assert joe.code("SaveConfig") == 9001
        assert joe.code("FactoryReset", {"CleanAll": True}) == 9001
        assert code_of(execute(joe, "Diff")) == 9001
        assert admin.result("GetParameterValues", {"ParameterNames": [f"{USERS}2.Username"]}), "joe is still there"


def test_secrets_are_saved_but_not_shown(start):
    secret = "Device.ManagementServer.Password"
    first = start()
    with first.connect() as client:
        client.result("SetParameterValues", {"ParameterList": [{"Name": secret, "Value": "canary-1"}]})
        assert differences(client) == {secret: ("Set", "***", "***")}
        client.result("SaveConfig")
    first.stop()
    with start().connect() as client:
        assert differences(client) == {}
        client.result("SetParameterValues", {"ParameterList": [{"Name": secret, "Value": "canary-2"}]})
        assert differences(client) == {secret: ("Set", "***", "***")}
    assert "canary" not in first.log()


def test_what_another_schema_saved_is_passed_over(start, start_ravd, tmp_path):
    first = start()
    with first.connect() as client:
        contact(client, "kept")
        client.result("SetParameterValues", {"ParameterList": [{"Name": "Device.System.Location", "Value": "x"}]})
        client.result("SaveConfig")
    first.stop()
    schema = tmp_path / "schema"
    schema.mkdir()
    parameter = {"#attr": {"type": "string", "access": "readWrite", "default": ""}}
    (schema / "a.json").write_text(json.dumps(
        {"Device": {"#attr": {"type": "object"}, "System": {"#attr": {"type": "object"}, "Contact": parameter}}}))
    daemon = start_ravd(schema=schema, state=tmp_path / "state")
    with daemon.connect() as client:
        assert contact(client) == "kept"
    assert "saved, but not taken any more: Device.System.Location" in daemon.log()
