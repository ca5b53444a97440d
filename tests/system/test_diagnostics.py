"""Methods of the default model that ask the network: on loopback only."""

import os
import re
import time

import pytest
from daemon import wait_for
from name_server import NameServer
from rpc import execute_params

PING = "Device.IP.Diagnostics.IPPing"
TRACE = "Device.IP.Diagnostics.TraceRoute"
LOOKUP = "Device.DNS.Diagnostics.NSLookup"


def outputs(client, path, **arguments):
    reply = client.execute(path, **arguments)
    if "lets no echo request out" in str(reply):
        pytest.skip("the system lets no echo request out")
    return {pair["Name"]: pair["Value"] for pair in reply["result"]["ParameterList"]}


def refusals(client, path, **arguments):
    error = client.execute(path, **arguments)["error"]
    assert error["code"] == 9003, error
    return error["data"]["Data"]


def sockets(daemon):
    """How many sockets the daemon has open."""
    folder = f"/proc/{daemon.pid}/fd"
    links = []
    for name in os.listdir(folder):
        try:
            links.append(os.readlink(f"{folder}/{name}"))
        except FileNotFoundError:
            pass
    return sum(link.startswith("socket:") for link in links)


@pytest.fixture
def name_server():
    server = NameServer({"host.test": ["192.0.2.7", "2001:db8::7"], "four.test": ["192.0.2.1", "192.0.2.2"],
                         "empty.test": [], "silent.test": None})
    yield server
    server.close()


def test_ping_counts_and_times(connect):
    found = outputs(connect(), PING, Host="127.0.0.1", NumberOfRepetitions=7, DataBlockSize=1400, DSCP=46)
    assert list(found) == ["Status", "IPAddressUsed", "SuccessCount", "FailureCount", "AverageResponseTime",
                           "MinimumResponseTime", "MaximumResponseTime", "AverageResponseTimeDetailed",
                           "MinimumResponseTimeDetailed", "MaximumResponseTimeDetailed"]
    assert (found["Status"], found["IPAddressUsed"], found["SuccessCount"], found["FailureCount"]) == \
        ("Complete", "127.0.0.1", 7, 0)
    assert 0 < found["MinimumResponseTimeDetailed"] <= found["AverageResponseTimeDetailed"] \
        <= found["MaximumResponseTimeDetailed"]


def test_ping_takes_names_of_the_hosts_file(connect):
    assert outputs(connect(), PING, Host="localhost", ProtocolVersion="IPv4")["IPAddressUsed"] == "127.0.0.1"


def test_what_cannot_leave_counts_as_a_failure(connect):
    found = outputs(connect(), PING, Host="127.0.0.1", NumberOfRepetitions=2, DataBlockSize=65507, Timeout=1)
    assert found["SuccessCount"] + found["FailureCount"] == 2


@pytest.mark.parametrize("path", [PING, TRACE])
def test_a_host_without_an_address(connect, path):
    assert outputs(connect(), path, Host="no such host") == {"Status": "Error_CannotResolveHostName"}


def test_the_way_to_loopback_is_one_hop(connect):
    found = outputs(connect(), TRACE, Host="127.0.0.1", NumberOfRepetitions=2)
    assert found["Status"] == "Complete" and found["IPAddressUsed"] == "127.0.0.1"
    assert (found["SuccessCount"], found["FailureCount"]) == (2, 0)
    assert found["RouteHops.1.HostAddress"] == "127.0.0.1"
    assert re.fullmatch(r"\d+,\d+", found["RouteHops.1.RTTimes"])
    assert "RouteHops.2.HostAddress" not in found


def test_names_are_asked_of_the_server_that_is_named(connect, name_server):
    found = outputs(connect(), LOOKUP, HostName="host.test", DNSServer=name_server.address, NumberOfRepetitions=2)
    assert found["SuccessCount"] == 2 and found["Status"] == "Complete"
    for n in (1, 2):
        assert found[f"Result.{n}.Status"] == "Success"
        assert set(found[f"Result.{n}.IPAddresses"].split(",")) == {"192.0.2.7", "2001:db8::7"}
        assert found[f"Result.{n}.DNSServerIP"] == "127.0.0.1"
    assert sorted(name_server.asked) == [("host.test", 1)] * 2 + [("host.test", 28)] * 2
    assert outputs(connect(), LOOKUP, HostName="four.test", DNSServer=name_server.address)["Result.1.IPAddresses"] \
        == "192.0.2.1,192.0.2.2"


def test_names_that_a_server_does_not_resolve(connect, name_server):
    for name in ("nobody.test", "empty.test"):
        found = outputs(connect(), LOOKUP, HostName=name, DNSServer=name_server.address)
        assert (found["SuccessCount"], found["Result.1.Status"]) == (0, "Error_HostNameNotResolved")
        assert found["Result.1.IPAddresses"] == ""


def test_a_silent_server_is_waited_for_no_longer_than_asked(connect, name_server):
    found = outputs(connect(), LOOKUP, HostName="silent.test", DNSServer=name_server.address, Timeout=50,
                    NumberOfRepetitions=5)
    assert [found[f"Result.{n}.Status"] for n in range(1, 6)] == ["Error_Timeout"] * 5
    assert len(name_server.asked) == 10, "each repetition asks, whatever became of the one before"


def test_a_server_that_is_no_address(connect):
    assert outputs(connect(), LOOKUP, HostName="host.test", DNSServer="not an address") == \
        {"Status": "Error_DNSServerNotResolved", "SuccessCount": 0}


@pytest.mark.parametrize("path, host", [(PING, "Host"), (TRACE, "Host"), (LOOKUP, "HostName")])
def test_arguments_are_checked_and_named(connect, path, host):
    client = connect()
    assert refusals(client, path) == {host: "9003 Invalid arguments: missing"}
    found = refusals(client, path, **{host: "127.0.0.1"}, NumberOfRepetitions=0, Timeout="soon", Color="red")
    assert {name: text[:4] for name, text in found.items()} == \
        {"NumberOfRepetitions": "9007", "Timeout": "9006", "Color": "9005"}


def endless(name_server):
    """A question that has no answer for a minute."""
    return execute_params(LOOKUP, HostName="silent.test", DNSServer=name_server.address, Timeout=60000)


def test_others_are_served_while_one_waits(connect, ravd, name_server):
    waiting, other = connect(), connect()
    for client in (waiting, other):
        client.result("GetParameterNames", {"ParameterPath": ".", "NextLevel": True})  # it has been accepted
    before = sockets(ravd)
    waiting.request("Execute", endless(name_server))
    wait_for(lambda: name_server.asked, "the question")
    assert other.result("GetParameterValues", {"ParameterNames": ["Device.DeviceInfo.UpTime"]})
    assert sockets(ravd) > before
    waiting.close()  # which ends the method
    wait_for(lambda: sockets(ravd) < before, "the method to let go of its socket")


def test_so_many_run_at_once_and_no_more(connect, name_server):
    most = 16
    clients = [connect() for _ in range(most + 1)]
    for client in clients[:most]:
        client.request("Execute", endless(name_server))
    wait_for(lambda: len(name_server.asked) >= 2 * most, "the questions")
    error = clients[most].execute(LOOKUP, HostName="host.test")["error"]
    assert (error["code"], error["data"]["Detail"]) == (9004, "too many diagnostics run at once")
    for client in clients[:most]:
        client.close()
    deadline = time.monotonic() + 20
    while "error" in clients[most].execute(LOOKUP, HostName="host.test", DNSServer=name_server.address):
        assert time.monotonic() < deadline, "the places were not given back"


def test_how_many_run_at_once_can_be_set(start_ravd, name_server):
    daemon = start_ravd("--limit", "diagnostics=1")
    with daemon.connect() as waiting, daemon.connect() as other:
        waiting.request("Execute", endless(name_server))
        wait_for(lambda: name_server.asked, "the question")
        assert other.execute(LOOKUP, HostName="host.test")["error"]["code"] == 9004


def test_one_that_takes_too_long_fails(start_ravd, name_server):
    with start_ravd("--limit", "diagnostic-ms=300").connect() as client:
        error = client.call("Execute", endless(name_server))["error"]
        assert (error["code"], error["data"]["Detail"]) == (9002, "not finished in time")


def test_ravc_draws_hops_as_instances(ravc, tmp_path):
    script = tmp_path / "script"
    script.write_text(f"execute {TRACE} Host=127.0.0.1 NumberOfRepetitions=1\n")
    result = ravc("-s", script)
    if "lets no echo request out" in result.stdout:
        pytest.skip("the system lets no echo request out")
    assert "└── RouteHops    \n    └── 1\n        ├── HostAddress = '127.0.0.1'\n" in result.stdout, result.stdout
    assert result.returncode == 0


def test_the_daemon_ends_while_names_are_asked_for(start_ravd, name_server):
    daemon = start_ravd()
    clients = [daemon.connect() for _ in range(3)]
    for client in clients:
        client.request("Execute", endless(name_server))
    wait_for(lambda: len(name_server.asked) == 6, "the questions")
    daemon.stop()
