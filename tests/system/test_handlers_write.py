"""Handlers that take part in changes: what they are asked, what a refusal leaves behind, and what is redrawn."""

import pytest
from daemon import wait_for
from handlers import client, daemon  # noqa: F401  (fixtures)
from handlers import AWAIT_GO, House, inside, node, parameter, read, table, write

SET, ADD, DELETE, REDRAW = 1, 2, 3, 5


@pytest.fixture
def house(tmp_path):
    """The handlers note what they are asked, and refuse once there is a file "refuse-NAME"."""
    writable = {"access": "readWrite"}
    house = House(
        tmp_path,
        Plain=parameter(**writable),
        One=parameter("int", {SET: "one"}, default=1, **writable),
        Two=parameter("int", {SET: "two"}, default=2, **writable),
        Seen=parameter("int", {REDRAW: "seen"}, default=0, **writable),
        Radio=node(handlers={SET: "radio", REDRAW: "seen"}, Ssid=parameter(default="home", **writable),
                   Key=parameter("secret", **writable), Channel=parameter("int", default=6, maxInclusive=13, **writable),
                   Power=node(Level=parameter("int", default=100, **writable))),
        Rows=table({ADD: "row", DELETE: "row", SET: "row"}, Name=parameter(**writable), Ref=parameter(**writable),
                   Inner=table({ADD: "row", DELETE: "row"}, Name=parameter(**writable))),
        Drawn=table(template={REDRAW: "seen"}, Name=parameter(**writable)),
        Loose=table(Name=parameter(**writable)),
        Fixed=table({ADD: "row"}, template={DELETE: "row"}, Name=parameter(**writable)),
    )
    for name in ("one", "two", "radio", "row", "seen"):
        house.script(name, f"""cat >>$LEFT/all.new; tail -n 1 $LEFT/all.new >>$LEFT/{name}
            if [ -e $LEFT/refuse-{name} ]; then cat $LEFT/refuse-{name}; fi""")
    return house


def refuse(house, name, text='{"error": {"code": 9004, "message": "not \\u001b now"}}'):
    (house.left / f"refuse-{name}").write_text(text)


def short(asked):
    """What was asked, without who did."""
    return {key: value for key, value in asked.items() if key not in ("user", "role")}


def all_asked(house):
    return [short(each) for each in house.asked("all.new")]


def test_a_parameter_is_set_once_its_handler_has_done_it(house, client):
    assert write(client, One=5, Plain="x")["result"] == {"Status": 0}
    assert house.asked("one") == [{"action": "set", "path": "Device.One", "user": "", "role": "admin", "value": 5,
                                   "old": 1}]
    assert read(client, "Device.One", "Device.Plain") == {"Device.One": 5, "Device.Plain": "x"}
    assert write(client, One=5)["result"] == {"Status": 0}
    assert len(house.asked("one")) == 2, "the same value again may be meant to make it so again"


def test_an_object_gets_all_its_changes_at_once(house, client):
    write(client, Radio__Ssid="new", One=2, Radio__Channel=7, Radio__Key="k", Radio__Power__Level=50)
    radio, one = all_asked(house)[:2]
    assert radio == {"action": "set", "path": "Device.Radio.",
                     "values": {"Ssid": "new", "Channel": 7, "Key": "k", "Power.Level": 50},
                     "old": {"Ssid": "home", "Channel": 6, "Key": "", "Power.Level": 100}}
    assert one["path"] == "Device.One"


def test_nobody_is_asked_about_what_can_not_be(house, client):
    assert write(client, One="text", Two=3)["error"]["code"] == 9003
    assert write(client, Radio__Channel=14)["error"]["code"] == 9003
    assert write(client, One=2, Nothing=1)["error"]["code"] == 9003
    assert client.code("AddObject", {"ObjectName": "Device.Rows.7.Inner."}) == 9005
    assert all_asked(house) == []


def test_a_refusal_leaves_all_as_it_was(house, client, daemon):
    with daemon.connect() as listener:
        listener.result("JoinGroup", {"Group": 1})
        refuse(house, "two")
        error = write(client, Plain="x", One=5, Two=6)["error"]
        assert error["code"] == 9003
        assert error["data"]["Data"] == {"Device.Two": "9004 Resources exceeded: not  now"}
        assert read(client, "Device.") == {
            "Device.Plain": "", "Device.One": 1, "Device.Two": 2, "Device.Seen": 0, "Device.Radio.Ssid": "home",
            "Device.Radio.Key": "", "Device.Radio.Channel": 6, "Device.Radio.Power.Level": 100}
        assert all_asked(house) == [
            {"action": "set", "path": "Device.One", "value": 5, "old": 1},
            {"action": "set", "path": "Device.Two", "value": 6, "old": 2},
            {"action": "set", "path": "Device.One", "value": 1, "old": 5, "undo": True}]
        (house.left / "refuse-two").unlink()
        write(client, Two=9)
        assert listener.event()["Params"] == {"Path": "Device.Two", "Value": 9}, "and nothing before"


def test_what_fails_is_undone_too(house, client, daemon):
    refuse(house, "two", "no JSON")
    error = write(client, One=5, Two=6)["error"]
    assert (error["code"], error["data"]["Data"]) == (
        9003, {"Device.Two": "9002 Internal error: the handler has failed"})
    assert [(each["path"], each.get("undo", False)) for each in all_asked(house)] == [
        ("Device.One", False), ("Device.Two", False), ("Device.Two", True), ("Device.One", True)]
    assert "<3>two, for Device.Two: what it did was not undone\n" in daemon.log()
    assert read(client, "Device.One", "Device.Two") == {"Device.One": 1, "Device.Two": 2}


def test_instances(house, client):
    assert client.result("AddObject", {"ObjectName": "Device.Rows."}) == {"InstanceNumber": 1, "Status": 0}
    assert client.result("AddObject", {"ObjectName": "Device.Rows.1.Inner."}) == {"InstanceNumber": 1, "Status": 0}
    write(client, Rows__1__Name="n", Rows__1__Inner__1__Name="m")
    client.result("DeleteObject", {"ObjectName": "Device.Rows.1."})
    client.result("AddObject", {"ObjectName": "Device.Fixed."})
    client.result("DeleteObject", {"ObjectName": "Device.Fixed.1."})
    assert all_asked(house) == [
        {"action": "add", "path": "Device.Rows.", "instance": 1},
        {"action": "add", "path": "Device.Rows.1.Inner.", "instance": 1},
        {"action": "set", "path": "Device.Rows.", "values": {"1.Name": "n", "1.Inner.1.Name": "m"},
         "old": {"1.Name": "", "1.Inner.1.Name": ""}},
        {"action": "delete", "path": "Device.Rows.1.Inner.1."},
        {"action": "delete", "path": "Device.Rows.1."},
        {"action": "add", "path": "Device.Fixed.", "instance": 1},
        {"action": "delete", "path": "Device.Fixed.1."}]


def test_refused_instances(house, client):
    refuse(house, "row")
    error = client.call("AddObject", {"ObjectName": "Device.Rows."})["error"]
    assert (error["code"], error["data"]) == (
        9004, {"Detail": "not  now", "Data": {"Device.Rows.": "9004 Resources exceeded"}})
    (house.left / "refuse-row").unlink()
    assert client.result("AddObject", {"ObjectName": "Device.Rows."})["InstanceNumber"] == 1
    client.result("AddObject", {"ObjectName": "Device.Rows.1.Inner."})
    house.script("row", """cat >>$LEFT/deletions
        case $(tail -n 1 $LEFT/deletions) in *'"Device.Rows.1."'*) echo '{"error": {"code": 9001}}';; esac""")
    assert client.code("DeleteObject", {"ObjectName": "Device.Rows.1."}) == 9001
    assert [short(each) for each in house.asked("deletions")] == [
        {"action": "delete", "path": "Device.Rows.1.Inner.1."}, {"action": "delete", "path": "Device.Rows.1."},
        {"action": "add", "path": "Device.Rows.1.Inner.", "instance": 1, "undo": True}]
    names = client.result("GetParameterNames", {"ParameterPath": "Device.Rows.", "NextLevel": True})["ParameterList"]
    assert "Device.Rows.1." in [each["Name"] for each in names]


def test_changes_wait_for_each_other_and_nobody_else_does(house, daemon):
    house.script("one", "cat >>$LEFT/one; " + AWAIT_GO)
    clients = [daemon.connect() for _ in range(3)]
    wanted = [client.request("SetParameterValues", {"ParameterList": [{"Name": "Device.One", "Value": 10 + i}]})
              for i, client in enumerate(clients)]
    wait_for((house.left / "one").exists, "the handler")
    with daemon.connect() as other:
        assert write(other, Plain="y")["result"] == {"Status": 0}
        assert read(other, "Device.One", "Device.Plain") == {"Device.One": 1, "Device.Plain": "y"}
        house.let_go()
        for client, number in zip(clients, wanted):
            assert client.reply(number)["result"] == {"Status": 0}
        asked = [(each["old"], each["value"]) for each in house.asked("one")]
        assert len(asked) == 3 and asked[0][0] == 1
        assert [old for old, _ in asked[1:]] == [value for _, value in asked[:-1]]
        assert read(other, "Device.One") == {"Device.One": asked[-1][1]}
    for client in clients:
        client.close()


def test_a_client_that_goes_leaves_nothing_behind(house, daemon):
    house.script("one", "cat >>$LEFT/one; " + AWAIT_GO)
    with daemon.connect() as client:
        client.request("SetParameterValues", {"ParameterList": [{"Name": "Device.One", "Value": 10}]})
        wait_for((house.left / "one").exists, "the handler")
    with daemon.connect() as other:
        assert other.ping()
        house.let_go()
        wait_for(lambda: len(house.asked("one")) == 2, "the handler that undoes")
        assert short(house.asked("one")[1]) == {"action": "set", "path": "Device.One", "value": 1, "old": 10,
                                                "undo": True}
        assert read(other, "Device.One") == {"Device.One": 1}
        assert write(other, One=3)["result"] == {"Status": 0}


def test_what_can_not_be_made_any_more_is_undone(house, daemon):
    house.script("one", "cat >>$LEFT/one; " + AWAIT_GO)
    with daemon.connect() as client, daemon.connect() as other:
        other.result("AddObject", {"ObjectName": "Device.Loose."})
        pairs = [{"Name": "Device.One", "Value": 10}, {"Name": "Device.Loose.1.Name", "Value": "x"}]
        wanted = client.request("SetParameterValues", {"ParameterList": pairs})
        wait_for((house.left / "one").exists, "the handler")
        other.result("DeleteObject", {"ObjectName": "Device.Loose.1."})
        house.let_go()
        error = client.reply(wanted)["error"]
        assert error["data"]["Data"] == {"Device.Loose.1.Name": "9005 Invalid parameter name"}
        assert [each["value"] for each in house.asked("one")] == [10, 1]
        assert read(other, "Device.One") == {"Device.One": 1}


def test_one_that_hangs_is_ended_and_undone(house, start_ravd):
    daemon = house.start(start_ravd, "--limit", "program-ms=300")
    house.script("one", "cat >>$LEFT/one; [ $(wc -l <$LEFT/one) -gt 1 ] || exec sleep inf")
    with daemon.connect() as client:
        assert write(client, One=5)["error"]["code"] == 9003
        assert short(house.asked("one")[1])["undo"]
        assert read(client, "Device.One") == {"Device.One": 1}
        assert "took longer than 300 ms" in daemon.log()


def test_redrawing_comes_after_the_change_once_for_all(house, client):
    house.script("seen", "cat >>$LEFT/seen")
    write(client, Radio__Ssid="a", Radio__Channel=7, Seen=1)
    wait_for(lambda: len(house.asked("seen")) == 2, "the handlers")
    assert sorted(each["path"] for each in house.asked("seen")) == ["Device.Radio.", "Device.Seen"]
    assert house.asked("seen")[0].keys() == {"action", "path"} and house.asked("seen")[0]["action"] == "redraw"
    write(client, Seen=1)
    write(client, Plain="z")
    house.script("seen", "cat >>$LEFT/seen; exit 3")
    assert write(client, Radio__Power__Level=1)["result"] == {"Status": 0}
    wait_for(lambda: len(house.asked("seen")) == 3, "the handler")
    assert house.asked("seen")[2]["path"] == "Device.Radio."
    assert read(client, "Device.Radio.Power.Level") == {"Device.Radio.Power.Level": 1}


def test_no_redrawing_is_left_out(house, start_ravd):
    house.script("seen", "cat >>$LEFT/seen")
    options = ["--limit", "programs=2", "--limit", "programs-waiting=1"]
    with house.start(start_ravd, *options).connect() as client:
        numbers = [client.result("AddObject", {"ObjectName": "Device.Drawn."})["InstanceNumber"] for _ in range(10)]
        pairs = [{"Name": f"Device.Drawn.{number}.Name", "Value": "x"} for number in numbers]
        client.result("SetParameterValues", {"ParameterList": pairs})
        drawn = {f"Device.Drawn.{number}." for number in numbers}
        wait_for(lambda: {each["path"] for each in house.asked("seen")} == drawn, "all of them")


def test_what_changes_while_it_is_redrawn_is_redrawn_again(house, client):
    house.script("seen", "cat >>$LEFT/seen; " + AWAIT_GO)
    write(client, Seen=1)
    wait_for(lambda: house.asked("seen"), "the handler")
    write(client, Seen=2)
    write(client, Seen=3)
    house.let_go()
    wait_for(lambda: len(house.asked("seen")) == 2, "once more")
    write(client, Radio__Ssid="last")
    wait_for(lambda: len(house.asked("seen")) == 3, "the handler")
    assert [each["path"] for each in house.asked("seen")] == ["Device.Seen", "Device.Seen", "Device.Radio."]


def test_changes_from_inside_start_no_handler(house, start_ravd, tmp_path):
    socket = tmp_path / "inside.sock"
    house.script("one", inside(socket) + """
def set_one(name, value):
    return call("SetParameterValues", ParameterList=[{"Name": name, "Value": value}])
assert "result" in set_one("Device.Plain", "from inside")
assert "result" in set_one("Device.Seen", 9)
assert set_one("Device.One", 4)["error"]["code"] == 9001
""", "/usr/bin/python3")
    with house.start(start_ravd, socket=socket).connect() as client:
        assert write(client, One=5)["result"] == {"Status": 0}
        assert read(client, "Device.Plain", "Device.One", "Device.Seen") == {
            "Device.Plain": "from inside", "Device.One": 5, "Device.Seen": 9}
        write(client, Radio__Ssid="b")
        wait_for(lambda: house.asked("seen"), "the handler")
        assert [each["path"] for each in house.asked("seen")] == ["Device.Radio."]


def test_the_audit_tells_what_was_made_and_nothing_else(house, client, daemon):
    refuse(house, "two")
    write(client, One=5, Two=6)
    write(client, One=7)
    lines = [line for line in daemon.log().splitlines() if line.startswith("<5>audit: ")]
    assert len(lines) == 1 and lines[0].endswith("method=SetParameterValues set path=Device.One old=1 new=7")
