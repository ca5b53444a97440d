"""Values that handlers tell: what they are asked, what of their answers is taken, and who waits for whom."""

import os

import pytest
from daemon import wait_for
from handlers import client, daemon  # noqa: F401  (fixtures)
from handlers import AWAIT_GO, LEAVE_PID, House, inside, node, parameter, read, table

GET = 0


@pytest.fixture
def house(tmp_path):
    return House(
        tmp_path,
        Plain=parameter(default="plain"),
        One=parameter("int", {GET: "one"}, default=7, maxInclusive=100),
        Text=parameter("string", {GET: "text"}, access="readWrite", default="stored"),
        Group=node(handlers={GET: "group"}, A=parameter("string", default="a"), B=parameter("int"),
                   Own=parameter("int", {GET: "one"}), Key=parameter("secret"),
                   Sub=table(Name=parameter(access="readWrite"))),
        Rows=table(template={GET: "row"}, Name=parameter(access="readWrite"), State=parameter(),
                   Sub=node(Own=parameter("int", {GET: "one"}))),
        Hidden=parameter("int", {GET: "hidden"}, perms="rw----"),
    )


def begin(client, *names):
    """Asks for values without waiting for them; the request's id."""
    return client.request("GetParameterValues", {"ParameterNames": list(names)})


def code(client, *names):
    return client.code("GetParameterValues", {"ParameterNames": list(names)})


def test_a_parameter(house, client):
    house.script("one", "cat >>$LEFT/one; echo '{\"value\": 42}'")
    assert read(client, "Device.One") == {"Device.One": 42}
    (asked,) = house.asked("one")
    assert asked == {"action": "get", "path": "Device.One", "user": "", "role": "admin"}


def test_an_object_is_asked_once_for_all_its_parameters(house, client):
    house.script("group", """cat >>$LEFT/group; echo '{"values": {"A": "told", "B": 5, "Sub.1.Name": "first"}}'""")
    house.script("one", "cat >>$LEFT/one; echo '{\"value\": 42}'")
    client.result("AddObject", {"ObjectName": "Device.Group.Sub."})
    client.result("AddObject", {"ObjectName": "Device.Group.Sub."})
    assert read(client, "Device.Group.", "Device.Group.B") == {
        "Device.Group.A": "told", "Device.Group.B": 5, "Device.Group.Own": 42, "Device.Group.Key": "",
        "Device.Group.Sub.1.Name": "first", "Device.Group.Sub.2.Name": ""}
    assert [each["path"] for each in house.asked("group")] == ["Device.Group."]
    assert [each["path"] for each in house.asked("one")] == ["Device.Group.Own"]
    assert read(client, "Device.Group.Key") == {"Device.Group.Key": ""}
    assert len(house.asked("group")) == 1, "nobody is asked for a secret"


def test_each_instance_is_asked(house, client):
    house.script("row", """read -r question; echo "$question" >>$LEFT/row
        case $question in
        *Rows.1.*) echo '{"values": {"State": "up", "Name": null}}';;
        *) echo '{"values": {"State": "down"}}';;
        esac""")
    for _ in range(2):
        client.result("AddObject", {"ObjectName": "Device.Rows."})
    client.result("SetParameterValues", {"ParameterList": [{"Name": "Device.Rows.1.Name", "Value": "set"}]})
    assert read(client, "Device.Rows.#template.State") == {"Device.Rows.1.State": "up", "Device.Rows.2.State": "down"}
    assert sorted(each["path"] for each in house.asked("row")) == ["Device.Rows.1.", "Device.Rows.2."]
    config = client.result("GetConfig", {"Path": "Device.Rows."})["Config"]["Device"]["Rows"]
    assert config == {"max_instance": 2, "1": {"Name": "set", "State": "up", "Sub": {}},
                      "2": {"Name": "", "State": "down", "Sub": {}}}
    selected = client.result("Select", {"Selector": "Device.Rows.[State == up]{State}"})["Selection"]
    assert selected == {"Device.Rows.1": {"State": "up"}}
    assert client.result("Select", {"Selector": "Device.Rows.[State == lost]"})["Selection"] == {}


def test_a_condition_decides_who_is_asked_next(house, client):
    house.script("row", "cat >/dev/null; echo '{\"values\": {\"State\": \"up\"}}'")
    house.script("one", "cat >>$LEFT/one; echo '{\"value\": 3}'")
    client.result("AddObject", {"ObjectName": "Device.Rows."})
    selector = {"Selector": "Device.Rows.[State == up].Sub"}
    assert client.result("Select", selector)["Selection"] == {"Device.Rows.1.Sub": {"Own": 3}}
    assert [each["path"] for each in house.asked("one")] == ["Device.Rows.1.Sub.Own"]
    house.script("row", "echo '{\"values\": {\"State\": \"down\"}}'")
    assert client.result("Select", selector)["Selection"] == {}
    assert len(house.asked("one")) == 1


def test_nobody_is_asked_for_nothing(house, client):
    house.script("one", "cat >>$LEFT/one; echo '{\"value\": 42}'")
    assert read(client, "Device.Plain") == {"Device.Plain": "plain"}
    assert code(client, "Device.One", "Device.Nothing") == 9005
    client.result("GetParameterNames", {"ParameterPath": ".", "NextLevel": False})
    client.result("GetParameterAttributes", {"ParameterNames": ["Device.One"]})
    assert house.asked("one") == []


@pytest.mark.parametrize("answer, wrong", [
    ('{"value": "42"}', "'One': the value is no int"),
    ('{"value": 101}', "'One': the value is above 100"),
    ('{"value": 1.5}', "'One': the value is no int"),
    ("{}", 'no "value"'),
    ("", 'no "value"'),
    ('{"values": {"One": 1}}', 'no "value"'),
    ("42", "its answer is no JSON"),
    ("[42]", "its answer is no JSON object"),
    ("hello world", "its answer is no JSON"),
    ('{"value": 42} trailing', "its answer is no JSON"),
    ('{"value": 1, "value": 2}', "its answer is no JSON"),
])
def test_answers_that_are_none(house, client, daemon, answer, wrong):
    house.script("one", f"cat >/dev/null; cat <<'END'\n{answer}\nEND")
    reply = client.call("GetParameterValues", {"ParameterNames": ["Device.One"]})
    assert reply["error"]["code"] == 9002
    assert reply["error"]["data"]["Data"] == {"Device.One": "9002 Internal error"}
    assert f"<4>one, for Device.One: {wrong}" in daemon.log()
    assert "Device.One" not in read(client, "Device."), "in a whole it is left out"
    assert client.result("GetConfig", {"Path": "Device.One"})["Config"]["Device"] == {}


def test_null_means_the_stored_value(house, client):
    house.script("one", "echo '{\"value\": null}'")
    house.script("text", "echo '{\"value\": null}'")
    assert read(client, "Device.One", "Device.Text") == {"Device.One": 7, "Device.Text": "stored"}


def test_control_characters_are_stripped(house, client):
    house.script("text", r"""cat >/dev/null; printf '%s\n' '{"value": "a\u001b[2Jb\u009bc\u007fd\ne"}'""")
    assert read(client, "Device.Text") == {"Device.Text": "a[2Jbcde"}
    house.script("text", r"""printf '{"value": "\377"}'""")
    assert code(client, "Device.Text") == 9002


def test_of_an_object_only_the_wrong_values_are_missing(house, client, daemon):
    house.script("one", "exit 1")
    house.script("group", """echo '{"values": {"A": 1, "B": 2, "Own": 3, "Key": "k", "Other": 4, "Sub.9.Name": "x"}}'""")
    assert read(client, "Device.Group.") == {"Device.Group.B": 2, "Device.Group.Key": ""}
    for text in ("'A': the value is no string", "'Own' is not its to tell", "'Key' is not its to tell",
                 "'Other' is not its to tell"):
        assert text in daemon.log()
    assert "one, for Device.Group.Own: ended with the status 1" in daemon.log()
    assert code(client, "Device.Group.A") == 9002


def test_refusals_have_the_code_of_the_handler(house, client):
    house.script("one", "echo '{\"error\": {\"code\": 9001, \"message\": \"not now\"}}'; exit 3")
    assert code(client, "Device.One") == 9001
    house.script("one", "echo '{\"error\": {\"code\": 12}}'")
    assert code(client, "Device.One") == 9002
    house.script("one", "echo '{\"error\": \"broken\"}'")
    assert code(client, "Device.One") == 9002


def test_programs_that_are_missing_or_unfit(house, client, daemon):
    assert code(client, "Device.One") == 9002
    house.script("one", "echo '{\"value\": 1}'")
    (house.handlers / "one").chmod(0o777)
    assert code(client, "Device.One") == 9002
    assert "<4>one, for Device.One: No such file or directory\n" in daemon.log()
    assert "<4>one, for Device.One: may be written by others\n" in daemon.log()
    (house.handlers / "one").chmod(0o755)
    assert read(client, "Device.One") == {"Device.One": 1}


def test_one_that_hangs_holds_up_nobody_else(house, start_ravd):
    house.script("one", LEAVE_PID + "exec sleep inf")
    daemon = house.start(start_ravd, "--limit", "program-ms=2000")
    with daemon.connect() as waiting, daemon.connect() as other:
        wanted = begin(waiting, "Device.")
        house.pid()
        for _ in range(100):
            assert read(other, "Device.Plain") == {"Device.Plain": "plain"}
        values = [each["Name"] for each in waiting.reply(wanted)["result"]["ParameterList"]]
        assert "Device.Plain" in values and "Device.One" not in values
        assert "one, for Device.One: took longer than 2000 ms" in daemon.log()


def test_floods_are_ended(house, client, daemon):
    house.script("one", "exec yes")
    assert code(client, "Device.One") == 9002
    assert "one, for Device.One: wrote more than 65536 bytes" in daemon.log()
    house.script("one", "yes >&2; echo '{\"value\": 1}'")
    assert read(client, "Device.One") == {"Device.One": 1}
    assert daemon.log().count("\n") < 300


def is_alive(pid):
    return os.path.exists(f"/proc/{pid}") and open(f"/proc/{pid}/stat").read().rpartition(")")[2].split()[0] != "Z"


def test_it_dies_with_its_client(house, start_ravd):
    house.script("one", "sleep inf & echo $! >$LEFT/pid.new; mv $LEFT/pid.new $LEFT/pid; wait")
    daemon = house.start(start_ravd)
    with daemon.connect() as client:
        begin(client, "Device.One")
        pid = house.pid()
    wait_for(lambda: not is_alive(pid), "its end")


def test_it_dies_with_the_daemon(house, start_ravd):
    house.script("one", LEAVE_PID + "exec sleep inf")
    for end in ("terminate", "kill"):
        daemon = house.start(start_ravd)
        with daemon.connect() as client:
            begin(client, "Device.One")
            pid = house.pid()
            getattr(daemon.process, end)()
            daemon.process.wait()
        wait_for(lambda pid=pid: not is_alive(pid), "its end")
        (house.left / "pid").unlink()


def test_twenty_at_once(house, start_ravd):
    house.script("one", "cat >/dev/null; echo x >>$LEFT/begun; " + AWAIT_GO + "echo '{\"value\": 1}'")
    daemon = house.start(start_ravd)
    clients = [daemon.connect() for _ in range(20)]
    for client in clients:
        begin(client, "Device.One")
    wait_for(lambda: (house.left / "begun").exists() and (house.left / "begun").read_text().count("x") == 8, "eight")
    with daemon.connect() as other:
        assert read(other, "Device.Plain") == {"Device.Plain": "plain"}
    house.let_go()
    for client in clients:
        assert client.message()["result"]["ParameterList"] == [{"Name": "Device.One", "Value": 1}]
        client.close()


def test_too_many_that_wait_are_refused(house, start_ravd):
    house.script("one", AWAIT_GO + "echo '{\"value\": 1}'")
    daemon = house.start(start_ravd, "--limit", "programs=1", "--limit", "programs-waiting=1")
    clients = [daemon.connect() for _ in range(4)]
    for client in clients:
        begin(client, "Device.One")
    with daemon.connect() as other:
        assert read(other, "Device.Plain") == {"Device.Plain": "plain"}
    house.let_go()
    replies = [client.message() for client in clients]
    codes = [reply["error"]["code"] if "error" in reply else 0 for reply in replies]
    assert 9004 in codes and 0 in codes and set(codes) == {0, 9004}
    for client in clients:
        client.close()


def test_requests_from_inside_start_no_other_one(house, start_ravd, tmp_path):
    socket = tmp_path / "inside.sock"
    house.script("one", inside(socket) + """
def ask(*names):
    return call("GetParameterValues", ParameterNames=names)
assert ask("Device.Plain")["result"]["ParameterList"][0]["Value"] == "plain"
error = ask("Device.One")["error"]
assert error["data"]["Detail"] == "a handler can't call a handler"
print(json.dumps({"value": error["code"] - 9000}))
""", "/usr/bin/python3")
    with house.start(start_ravd, socket=socket).connect() as client:
        assert read(client, "Device.One") == {"Device.One": 1}


def test_a_batch_waits_in_its_order(house, client):
    house.script("one", "echo '{\"value\": 1}'")
    batch = [{"jsonrpc": "2.0", "id": i, "method": "GetParameterValues", "params": {"ParameterNames": [name]}}
             for i, name in enumerate(["Device.One", "Device.Plain", "Device.One"])]
    client.send(batch)
    replies = client.message()
    assert [reply["result"]["ParameterList"][0]["Value"] for reply in replies] == [1, "plain", 1]


def test_who_may_not_read_does_not_ask(house, start_ravd):
    house.script("one", "echo '{\"value\": 1}'")
    house.script("hidden", "cat >>$LEFT/hidden; echo '{\"value\": 2}'")
    daemon = house.start(start_ravd, "--listen", "tcp://127.0.0.1:0")
    with daemon.connect_tcp() as guest, daemon.connect() as admin:
        values = read(guest, "Device.")
        assert values["Device.One"] == 1 and "Device.Hidden" not in values
        assert code(guest, "Device.Hidden") == 9005
        assert house.asked("hidden") == []
        assert read(admin, "Device.Hidden") == {"Device.Hidden": 2}


def test_without_a_folder_the_start_warns_and_values_can_not_be_had(house, start_ravd):
    daemon = start_ravd(schema=house.schema)
    assert "<4>the schema has handlers, but there is no folder of programs (--handlers)\n" in daemon.log()
    with daemon.connect() as client:
        assert code(client, "Device.One") == 9002
        assert read(client, "Device.Plain") == {"Device.Plain": "plain"}


def test_missing_programs_are_told_at_the_start(house, start_ravd):
    house.script("one", "")
    daemon = house.start(start_ravd)
    assert "<4>handler row: No such file or directory\n" in daemon.log()
    assert "handler one" not in daemon.log()


def test_a_folder_that_can_not_be_used_ends_the_start(house, start_ravd):
    daemon = start_ravd("--handlers", house.left / "nothing", schema=house.schema, ready=False)
    assert daemon.exit_status() == 1
    assert f"<3>{house.left}/nothing: No such file or directory\n" in daemon.log()
