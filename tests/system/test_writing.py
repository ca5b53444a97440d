"""Setting values, adding and deleting instances over the wire, with the tree's own schema."""

import pytest

SERVER = "Device.Time.Client."  # instances that only users make
ROUTES = "Device.Routing.Router.{}.IPv4Forwarding."


def pairs(values):
    return {"ParameterList": [{"Name": name, "Value": value} for name, value in values.items()]}


def set_values(client, values, method="SetParameterValues"):
    return client.result(method, pairs(values))


def refused(client, values, method="SetParameterValues"):
    """The faults of a set that must fail, by name."""
    error = client.call(method, pairs(values))["error"]
    assert error["code"] == 9003 and error["message"] == "Invalid arguments", error
    return error["data"]["Data"]


def get(client, name):
    values = client.result("GetParameterValues", {"ParameterNames": [name]})["ParameterList"]
    assert [each["Name"] for each in values] == [name]
    return values[0]["Value"]


def add(client, name):
    result = client.result("AddObject", {"ObjectName": name})
    assert result["Status"] == 0 and set(result) == {"Status", "InstanceNumber"}
    return result["InstanceNumber"]


def delete(client, name):
    return client.result("DeleteObject", {"ObjectName": name})


def joined(client, *groups):
    for group in groups:
        client.result("JoinGroup", {"Group": group})
    return client


def no_event(client):
    client.ping()
    client.ping()  # an event due goes out after at most one more round of the daemon
    return not client.events


def changed(name, value):
    return {"Group": 1, "Params": {"Path": name, "Value": value}}


def instance(action, path, number):
    return {"Group": 4, "Params": {"Action": action, "Path": path, "InstanceNumber": number}}


@pytest.fixture
def tcp(start_ravd):
    """A daemon that also listens on TCP, where nobody has logged in and so everybody is a guest."""
    return start_ravd("--listen", "tcp://127.0.0.1:0")


def test_values_are_set_for_every_client(connect):
    writer, reader = connect(), connect()
    assert set_values(writer, {"Device.System.Contact": "Ärger \t\n", "Device.System.SiteFlags": 7}) == {"Status": 0}
    assert get(reader, "Device.System.Contact") == "Ärger \t\n"
    assert get(reader, "Device.System.SiteFlags") == 7
    assert writer.result("SetParameterValues", {"ParameterList": []}) == {"Status": 0}


def test_one_bad_pair_at_the_end_keeps_all_as_they_were(connect):
    writer, listener = connect(), joined(connect(), 1)
    good = {"Device.System.Contact": "new", "Device.System.Location": "new"}
    assert refused(writer, good | {"Device.System.SiteFlags": 4294967296}) == {
        "Device.System.SiteFlags": "9007 Invalid parameter value: 4294967296 is above 4294967295"}
    assert [get(writer, name) for name in good] == ["", ""]
    assert no_event(listener)


def test_every_refused_pair_is_named_in_the_order_of_the_request(connect):
    faults = refused(connect(), {
        "Device.System.None": 1, "Device.System.Contact": 5, "Device.System.BootID": "x",
        "Device.System.Location": "x" * 129, "Device.DeviceInfo.DeviceMode": "Hub", "Device.System.SiteFlags": 1})
    assert list(faults.items()) == [
        ("Device.System.None", "9005 Invalid parameter name"),
        ("Device.System.Contact", "9006 Invalid parameter type: string wanted"),
        ("Device.System.BootID", "9008 Attempt to set a non-writable parameter"),
        ("Device.System.Location",
         f'9007 Invalid parameter value: "{"x" * 64}..." is longer than 128 characters'),
        ("Device.DeviceInfo.DeviceMode", '9007 Invalid parameter value: "Hub" is not one of Router, Bridge')]


def test_a_name_twice_is_refused(connect):
    client = connect()
    pair = {"Name": "Device.System.Contact", "Value": "x"}
    error = client.call("SetParameterValues", {"ParameterList": [pair, pair]})["error"]
    assert error["code"] == 9003
    assert error["data"]["Data"] == {"Device.System.Contact": "9003 Invalid arguments: named twice"}


@pytest.mark.parametrize("params", [None, {}, {"ParameterList": {}}, {"ParameterList": ["x"]},
                                    {"ParameterList": [{"Name": "Device.System.Contact"}]},
                                    {"ParameterList": [{"Name": 1, "Value": 1}]}])
def test_wrong_params(connect, params):
    client = connect()
    for method in "SetParameterValues", "RawSetParameterValues":
        assert client.code(method, params) == -32602
    for method in "AddObject", "DeleteObject":
        assert client.code(method, {"ObjectName": 5}) == -32602


@pytest.mark.parametrize("control", ["\x1b", "\x7f", "\x9b", "\r"])
def test_no_value_can_drive_a_terminal(connect, control):
    client = connect()
    text = refused(client, {"Device.System.Contact": f"a{control}b", "Device.System.SiteData": [control]})
    assert set(text) == {"Device.System.Contact", "Device.System.SiteData"}
    assert not any(ord(c) < 32 or 127 <= ord(c) < 160 for c in "".join(text.values()))


def test_an_integer_too_large_for_the_wire_is_a_bad_value(connect):
    client = connect()
    client.send('{"jsonrpc":"2.0","method":"SetParameterValues","id":1,"params":{"ParameterList":'
                '[{"Name":"Device.System.SiteFlags","Value":18446744073709551615}]}}\n')
    error = client.message()["error"]
    assert error["data"]["Data"]["Device.System.SiteFlags"].startswith("9007 ")


def test_raw_takes_texts(connect):
    client = connect()
    values = {"Device.System.SiteFlags": "0x1f", "Device.IP.IPv4Enable": "0", "Device.System.SiteData": '{"a": [1]}',
              "Device.System.Contact": "true"}
    assert set(refused(client, values)) == {"Device.System.SiteFlags", "Device.IP.IPv4Enable"}
    assert set_values(client, values, "RawSetParameterValues") == {"Status": 0}
    assert get(client, "Device.System.SiteFlags") == 31
    assert get(client, "Device.IP.IPv4Enable") is False
    assert get(client, "Device.System.SiteData") == {"a": [1]}
    assert get(client, "Device.System.Contact") == "true"
    assert list(refused(client, {"Device.IP.IPv4Enable": "yes"}, "RawSetParameterValues").values()) == [
        "9006 Invalid parameter type: boolean wanted"]


def test_what_was_set_wins_over_the_machine(connect):
    client = connect()
    live = get(client, "Device.DeviceInfo.HostName")
    assert live
    set_values(client, {"Device.DeviceInfo.HostName": live + "-x"})
    assert get(client, "Device.DeviceInfo.HostName") == live + "-x"


def test_instances_come_and_go(connect):
    client = connect()
    first, second = add(client, SERVER), add(client, SERVER[:-1])
    assert second == first + 1
    assert get(client, f"{SERVER}{first}.Port") == 123
    assert delete(client, f"{SERVER}{second}.") == {"Status": 0}
    assert add(client, SERVER) == second + 1
    names = client.result("GetParameterNames", {"ParameterPath": SERVER, "NextLevel": True})["ParameterList"]
    assert names == [{"Name": f"{SERVER}{n}.", "Writable": True} for n in (first, second + 1)]
    assert client.code("DeleteObject", {"ObjectName": f"{SERVER}{second}."}) == 9005
    assert client.code("AddObject", {"ObjectName": f"{SERVER}{first}."}) == 9005
    assert client.code("AddObject", {"ObjectName": "Device.DeviceInfo.Processor."}) == 9008


def test_unique_values(connect):
    client = connect()
    one, two = (f"{SERVER}{add(client, SERVER)}.Alias" for _ in range(2))
    set_values(client, {one: "a"})
    assert list(refused(client, {two: "a"}).values())[0].startswith('9007 Invalid parameter value: "a" is taken by')
    set_values(client, {one: "b", two: "a"})
    assert (get(client, one), get(client, two)) == ("b", "a")


def test_events_follow_the_reply_in_the_order_of_the_changes(connect):
    client, other = joined(connect(), 1, 4), joined(connect(), 1, 4)
    number = add(client, SERVER)
    assert not client.events  # none came before the reply
    path = f"{SERVER}{number}."
    set_values(client, {path + "Port": 5, path + "Enable": True, path + "Version": 4})  # the last one as it was
    assert client.events == [] or [each["params"] for each in client.events] == [instance("Add", SERVER, number)]
    delete(client, path)
    wanted = [instance("Add", SERVER, number), changed(path + "Port", 5), changed(path + "Enable", True),
              instance("Delete", path, number)]
    for each in client, other:
        assert [each.event() for _ in wanted] == wanted
        assert no_event(each)


def test_the_reply_is_the_first_line(connect):
    client = joined(connect(), 1, 4)
    for n in range(50):
        wanted = client.request("SetParameterValues", pairs({"Device.System.Contact": str(n)}))
        assert client.message() == {"jsonrpc": "2.0", "result": {"Status": 0}, "id": wanted}
        assert client.event() == changed("Device.System.Contact", str(n))


def test_two_clients_write_in_turns(connect):
    one, two, watcher = connect(), connect(), joined(connect(), 1)
    for n in range(200):
        for client, name in (one, "Contact"), (two, "Location"):
            client.request("SetParameterValues", pairs({f"Device.System.{name}": str(n)}))
    for client in one, two:
        for n in range(1, 201):
            assert client.reply(n)["result"] == {"Status": 0}
    events = [watcher.event()["Params"] for _ in range(400)]
    for name in "Contact", "Location":
        path = f"Device.System.{name}"
        assert [each["Value"] for each in events if each["Path"] == path] == [str(n) for n in range(200)]


def test_ordered_instances_move(connect):
    client = connect()
    router = add(client, "Device.Routing.Router.")
    routes = ROUTES.format(router)
    numbers = [add(client, routes) for _ in range(4)]
    assert numbers == [1, 2, 3, 4]
    joined(client, 1)
    set_values(client, {routes + "4.index": 2})
    assert get(client, routes + "order") == [1, 4, 2, 3]
    assert get(client, routes + "3.index") == 4
    assert [client.event() for _ in range(3)] == [
        changed(routes + "4.index", 2), changed(routes + "2.index", 3), changed(routes + "3.index", 4)]
    for place in -1, 0, 5:
        assert refused(client, {routes + "1.index": place})[routes + "1.index"].startswith("9007 ")
    delete(client, routes + "4.")
    assert get(client, routes + "order") == [1, 2, 3]


def test_deleting_follows_the_relations(connect):
    client = connect()
    interface = f"Device.IP.Interface.{add(client, 'Device.IP.Interface.')}."
    time = f"{SERVER}{add(client, SERVER)}."
    router = f"Device.Routing.Router.{add(client, 'Device.Routing.Router.')}."
    route = f"{router}IPv4Forwarding.{add(client, router + 'IPv4Forwarding.')}."
    set_values(client, {time + "Interface": interface, route + "Interface": interface[:-1],
                        interface + "Router": router})
    error = client.call("DeleteObject", {"ObjectName": router})["error"]
    assert (error["code"], error["data"]["Detail"]) == (9001, f"{interface}Router refers to it")
    joined(client, 1, 4)
    delete(client, interface)
    assert get(client, time + "Interface") == ""
    assert client.code("GetParameterValues", {"ParameterNames": [route]}) == 9005
    number = int(interface.split(".")[-2])
    assert [client.event() for _ in range(3)] == [
        changed(time + "Interface", ""), instance("Delete", route, int(route.split(".")[-2])),
        instance("Delete", interface, number)]
    delete(client, router)


def test_references_must_lead_somewhere(connect):
    client = connect()
    time = f"{SERVER}{add(client, SERVER)}.Interface"
    for target in "Device.IP.Interface.9999", "Device.IP.Interface.", SERVER + "1", "x":
        assert refused(client, {time: target})[time].startswith("9007 "), target


def test_the_machines_own_instances_stay(connect):
    client = connect()
    names = client.result("GetParameterNames", {"ParameterPath": "Device.IP.Interface.", "NextLevel": True})
    lo = names["ParameterList"][0]
    assert lo["Writable"] is False
    error = client.call("DeleteObject", {"ObjectName": lo["Name"]})["error"]
    assert (error["code"], error["data"]["Detail"]) == (9001, f"{lo['Name']} is the device's own")
    enable = lo["Name"] + "Enable"
    was = get(client, enable)
    set_values(client, {enable: not was})
    assert get(client, enable) is not was


def test_guests_write_nothing_and_hear_only_what_they_may_read(tcp):
    with tcp.connect() as admin, tcp.connect_tcp() as guest:
        joined(guest, 1, 4)
        assert refused(guest, {"Device.DeviceInfo.FriendlyName": "x", "Device.DeviceInfo.UpTime": 1,
                               "Device.System.Contact": "x", "Device.DeviceInfo.SerialNumber": "x"}) == {
            "Device.DeviceInfo.FriendlyName": "9001 Request denied",
            "Device.DeviceInfo.UpTime": "9008 Attempt to set a non-writable parameter",
            "Device.System.Contact": "9005 Invalid parameter name",
            "Device.DeviceInfo.SerialNumber": "9005 Invalid parameter name"}
        assert guest.code("AddObject", {"ObjectName": SERVER}) == 9005
        number = add(admin, SERVER)
        assert guest.code("DeleteObject", {"ObjectName": f"{SERVER}{number}."}) == 9005
        set_values(admin, {"Device.System.Contact": "x", "Device.DeviceInfo.FriendlyName": "y"})
        assert guest.event() == changed("Device.DeviceInfo.FriendlyName", "y")
        assert no_event(guest)
        assert get(admin, "Device.System.Contact") == "x"


def test_secrets_are_told_to_nobody(start_ravd):
    daemon = start_ravd("--log-level", "debug")
    with daemon.connect() as client:
        joined(client, 1)
        user = f"Device.Users.User.{add(client, 'Device.Users.User.')}.Password"
        set_values(client, {user: "canary-1"})
        assert client.event() == changed(user, "")
        assert get(client, user) == ""
        assert refused(client, {user: "canary-2" * 10})[user] == (
            "9007 Invalid parameter value: it is longer than 64 characters")
    assert "canary" not in daemon.log()


def test_a_slow_reader_loses_events_and_no_reply(connect):
    writer, sleeper = connect(), joined(connect(), 1)
    big = ["x" * 100_000, "y" * 100_000]
    for n in range(60):
        set_values(writer, {"Device.System.SiteData": big[n % 2] + str(n)})
    assert sleeper.ping()
    events = [sleeper.event()]
    while events[-1]["Params"].get("Value") != big[1] + "59":
        events.append(sleeper.event())
    dropped = sum(each["Params"]["Dropped"] for each in events if each["Group"] == 0)
    told = sum(each["Group"] == 1 for each in events)
    assert dropped > 0 and dropped + told == 60
