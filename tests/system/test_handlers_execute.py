"""Methods that handlers carry out."""

import os

import pytest
from daemon import wait_for
from handlers import client, daemon  # noqa: F401  (fixtures)
from handlers import LEAVE_PID, House, node, parameter, read, table
from rpc import execute_params

EXECUTE = 4


@pytest.fixture
def house(tmp_path):
    outputs = node(Sum=parameter("int", maxInclusive=100), Text=parameter(), Way=node(Hops=parameter("int")),
                   Hops=table(Name=parameter()))
    inputs = node(A=parameter("int", mandatory=True), B=parameter("int", default=2), Key=parameter("secret"))
    method = {**node("method", {EXECUTE: "add"}), "#input": inputs, "#output": outputs}
    return House(tmp_path, Plain=parameter(default="plain"), Add=method, Rows=table(Do=node("method", {EXECUTE: "do"})))


def execute(client, path, **arguments):
    """{name: value} of the outputs."""
    return {each["Name"]: each["Value"] for each in client.execute(path, **arguments)["result"]["ParameterList"]}


def test_arguments_in_and_outputs_out(house, client, daemon):
    house.script("add", """cat >>$LEFT/add; echo '{"outputs": {"Way.Hops": 3, "Sum": 42, "Text": "a\\u001bb"}}'""")
    assert execute(client, "Device.Add", A=40, Key="k") == {"Sum": 42, "Text": "ab", "Way.Hops": 3}
    assert house.asked("add") == [{"action": "execute", "path": "Device.Add.", "user": "", "role": "admin",
                                   "inputs": {"A": 40, "B": 2, "Key": "k"}}]
    assert 'execute path=Device.Add. arguments={"A":40,"B":2,"Key":"***"}' in daemon.log()


def test_of_an_instance_and_without_outputs(house, client):
    house.script("do", "cat >>$LEFT/do")
    assert client.code("Execute", execute_params("Device.Rows.1.Do")) == 9005
    client.result("AddObject", {"ObjectName": "Device.Rows."})
    assert execute(client, "Device.Rows.1.Do.") == {}
    assert [each["path"] for each in house.asked("do")] == ["Device.Rows.1.Do."]


def test_arguments_are_checked_before(house, client):
    house.script("add", "cat >>$LEFT/add")
    assert client.code("Execute", execute_params("Device.Add", B=1)) == 9003
    assert client.code("Execute", execute_params("Device.Add", A="x")) == 9003
    assert house.asked("add") == []


@pytest.mark.parametrize("answer, problem", [
    ('{"outputs": {"Sum": 101}}', "'Sum': the value is above 100"),
    ('{"outputs": {"Sum": "1"}}', "'Sum': the value is no int"),
    ('{"outputs": {"Other": 1}}', "'Other' is no output of the method"),
    ('{"outputs": {"Way": {"Hops": 1}}}', "'Way' is no output of the method"),
    ('{"outputs": {"Hops.#template.Name": "x"}}', "'Hops.#template.Name' is no output of the method"),
    ('{"outputs": 1}', '"outputs" is no object'),
    ("garbage", "its answer is no JSON"),
])
def test_outputs_are_checked(house, client, daemon, answer, problem):
    house.script("add", f"cat >/dev/null; cat <<'END'\n{answer}\nEND")
    error = client.execute("Device.Add", A=1)["error"]
    assert (error["code"], error["data"]["Detail"]) == (9002, "the handler has failed")
    assert f"<4>add, for Device.Add.: {problem}" in daemon.log()
    assert "audit" not in daemon.log()


def test_refusals(house, client, daemon):
    house.script("add", """echo '{"error": {"code": 9015, "message": "no route"}}'; exit 1""")
    error = client.execute("Device.Add", A=1)["error"]
    assert (error["code"], error["data"]["Detail"]) == (9015, "no route")
    house.script("add", "exit 1")
    assert client.code("Execute", execute_params("Device.Add", A=1)) == 9002
    assert "add, for Device.Add.: ended with the status 1" in daemon.log()


def test_others_are_served_and_it_dies_with_its_client(house, daemon):
    house.script("add", LEAVE_PID + "exec sleep inf")
    with daemon.connect() as client, daemon.connect() as other:
        client.request("Execute", execute_params("Device.Add", A=1))
        pid = house.pid()
        assert read(other, "Device.Plain") == {"Device.Plain": "plain"}
    wait_for(lambda: not os.path.exists(f"/proc/{pid}"), "its end")


def test_it_comes_before_what_the_daemon_itself_does(tmp_path, start_ravd):
    ping = {**node("method", {EXECUTE: "ping"}), "#output": node(SuccessCount=parameter("unsignedInt"))}
    house = House(tmp_path / "other", IP=node(Diagnostics=node(IPPing=ping)))
    house.script("ping", """echo '{"outputs": {"SuccessCount": 77}}'""")
    with house.start(start_ravd).connect() as client:
        assert execute(client, "Device.IP.Diagnostics.IPPing") == {"SuccessCount": 77}
