"""Sessions of two connections, event groups, and events between clients."""

import json
import os
import pathlib
import shutil
import tempfile

import pytest

from rpc import Closed

SECRET = "0123456789abcdef0123456789abcdef"
OTHER_SECRET = "fedcba9876543210fedcba9876543210"

root_only = pytest.mark.skipif(os.geteuid() != 0, reason="needs another user to connect as")


def send_event(client, group, params=None):
    client.notify("Event", {"Group": group} | ({} if params is None else {"Params": params}))


def joined(client, *groups):
    for group in groups:
        assert client.result("JoinGroup", {"Group": group}) == {}
    return client


def no_event(client):
    """True when nothing but replies has come, and comes, before the next reply."""
    client.ping()
    client.ping()  # an event due goes out after at most one more round of the daemon
    return not client.events


def test_event_goes_to_all_others_that_joined(connect):
    sender, first, second, other = connect(), connect(), connect(), connect()
    for client in sender, first, second:
        joined(client, 17)
    joined(other, 18)
    send_event(sender, 17, {"a": [1, "x", None]})
    wanted = {"Group": 17, "Params": {"a": [1, "x", None]}}
    assert first.event() == wanted and second.event() == wanted
    assert no_event(sender) and no_event(other)


@pytest.mark.parametrize("params", [0, False, "", [], {}, "é\n\x7f", 1.5, -1])
def test_event_carries_any_value(connect, params):
    sender, receiver = connect(), joined(connect(), 17)
    send_event(sender, 17, params)
    assert receiver.event() == {"Group": 17, "Params": params}


def test_event_without_params_has_none(connect):
    sender, receiver = connect(), joined(connect(), 4294967295)
    send_event(sender, 4294967295)
    assert receiver.event() == {"Group": 4294967295}


def test_events_keep_their_order(connect):
    sender, receiver = connect(), joined(connect(), 17, 18)
    for n in range(500):
        send_event(sender, 17 + n % 2, n)
    assert [receiver.event()["Params"] for _ in range(500)] == list(range(500))


def test_left_group_is_quiet(connect):
    sender, receiver = connect(), joined(connect(), 17, 18)
    assert receiver.result("LeaveGroup", {"Group": 17}) == {}
    send_event(sender, 17, "left")
    send_event(sender, 18, "joined")
    assert receiver.event()["Params"] == "joined"


def test_joined_twice_is_told_once_and_left_at_once(connect):
    sender, receiver = connect(), joined(connect(), 17, 17, 18)
    send_event(sender, 17, 1)
    send_event(sender, 17, 2)
    assert [receiver.event()["Params"] for _ in range(2)] == [1, 2]
    receiver.result("LeaveGroup", {"Group": 17})
    send_event(sender, 17, 3)
    send_event(sender, 18, 4)
    assert receiver.event()["Params"] == 4


def test_event_sent_as_a_request_has_a_reply(connect):
    sender, receiver = connect(), joined(connect(), 17)
    assert sender.result("Event", {"Group": 17, "Params": 1}) == {}
    assert receiver.event()["Params"] == 1


def test_groups_of_a_session_are_limited(start_ravd):
    with start_ravd("--limit", "groups=2").connect() as client:
        joined(client, 17, 18, 17)
        assert client.code("JoinGroup", {"Group": 19}) == 9004
        client.result("LeaveGroup", {"Group": 17})
        joined(client, 19)


def test_session_gets_events_once_on_its_events_connection(connect):
    requests, events, sender = connect(), connect(), connect()
    requests.hello(SECRET, "requests")
    events.hello(SECRET, "events")
    joined(requests, 17)
    joined(events, 17)
    send_event(sender, 17, 1)
    send_event(sender, 17, 2)
    assert [events.event()["Params"] for _ in range(2)] == [1, 2]
    assert no_event(requests)


def test_without_events_connection_the_one_that_joined_gets_them(connect):
    first, second, sender = connect(), connect(), connect()
    first.hello(SECRET)
    second.hello(SECRET)
    joined(second, 17)
    send_event(sender, 17, 1)
    assert second.event()["Params"] == 1
    assert no_event(first)


def test_own_event_does_not_come_back_on_the_other_connection(connect):
    requests, events, sender = connect(), connect(), connect()
    requests.hello(SECRET)
    events.hello(SECRET, "events")
    joined(events, 17)
    assert requests.result("Event", {"Group": 17, "Params": "own"}) == {}
    send_event(sender, 17, "foreign")
    assert events.event()["Params"] == "foreign"


def test_role_may_change(connect):
    first, second, sender = connect(), connect(), connect()
    first.hello(SECRET)
    second.hello(SECRET)
    joined(first, 17)
    second.hello(SECRET, "events")
    send_event(sender, 17, 1)
    assert second.event()["Params"] == 1
    second.hello(SECRET, "requests")
    send_event(sender, 17, 2)
    assert first.event()["Params"] == 2


def test_third_connection_is_a_session_of_its_own(connect):
    first, second, third, sender = connect(), connect(), connect(), connect()
    first.hello(SECRET)
    second.hello(SECRET)
    third.hello(SECRET, "events")
    joined(first, 17)
    send_event(sender, 17, 1)
    assert first.event()["Params"] == 1
    assert no_event(third)
    joined(third, 17)
    send_event(sender, 17, 2)
    assert third.event()["Params"] == 2


@pytest.mark.parametrize("change", [{"Session": "xyz"}, {"Session": SECRET[1:]}, {"Session": "g" * 32},
                                    {"Role": "both"}, {"Protocol": 2}])
def test_unusable_hello_is_a_session_of_its_own(connect, change):
    first, second, sender = connect(), connect(), connect()
    hello = {"Protocol": 1, "Session": SECRET, "Role": "events", "Client": "test"} | change
    for client in first, second:
        client.notify("Hello", hello)
        client.ping()
    joined(first, 17)
    send_event(sender, 17, 1)
    assert first.event()["Params"] == 1
    assert no_event(second)


def test_another_secret_is_another_session(connect):
    first, second, sender = connect(), connect(), connect()
    first.hello(SECRET)
    second.hello(OTHER_SECRET, "events")
    joined(first, 17)
    send_event(sender, 17, 1)
    assert first.event()["Params"] == 1


def test_groups_outlive_the_connection_that_joined(connect):
    first, second, sender = connect(), connect(), connect()
    first.hello(SECRET)
    second.hello(SECRET, "events")
    joined(second, 17)
    second.close()
    # The daemon may see the end of the connection later than the event: the first event to arrive ends the wait.
    while not first.events:
        send_event(sender, 17, 1)
        sender.ping()
        first.ping()
    assert first.event()["Params"] == 1


def test_session_ends_with_its_last_connection(connect):
    first, sender = connect(), connect()
    first.hello(SECRET, "events")
    joined(first, 17)
    first.sock.shutdown(1)
    with pytest.raises(Closed):
        first.message()
    again = connect()
    again.hello(SECRET, "events")
    send_event(sender, 17, 1)
    assert no_event(again)


def test_same_secret_over_another_transport_does_not_enter(start_ravd):
    daemon = start_ravd("--listen", "tcp://127.0.0.1:0")
    with daemon.connect() as local, daemon.connect_tcp() as remote, daemon.connect_tcp() as second:
        local.hello(SECRET)
        remote.hello(SECRET, "events")
        joined(local, 17)
        send_event(second, 17, 1)
        assert local.event()["Params"] == 1
        second.hello(SECRET)
        joined(second, 18)
        send_event(local, 18, 2)
        assert remote.event()["Params"] == 2


@pytest.fixture
def open_ravd(start_ravd):
    """A daemon whose socket every user can reach."""
    folder = pathlib.Path(tempfile.mkdtemp(prefix="ravd-test-", dir="/tmp"))
    folder.chmod(0o755)
    daemon = start_ravd(socket=folder / "ravd.sock")
    daemon.socket.chmod(0o666)
    yield daemon
    daemon.stop()
    shutil.rmtree(folder)


def connect_as(daemon, uid):
    os.seteuid(uid)
    try:
        return daemon.connect()
    finally:
        os.seteuid(0)


@root_only
def test_other_user_does_not_enter_a_session(open_ravd):
    with open_ravd.connect() as own, connect_as(open_ravd, 65534) as foreign, open_ravd.connect() as sender:
        own.hello(SECRET)
        foreign.hello(SECRET, "events")
        joined(own, 17)
        send_event(sender, 17, 1)
        assert own.event()["Params"] == 1
        assert no_event(foreign)


@root_only
def test_groups_below_16_are_for_admins(open_ravd):
    with open_ravd.connect() as admin, connect_as(open_ravd, 65534) as guest, open_ravd.connect() as receiver:
        joined(receiver, 15, 16)
        send_event(guest, 15, "refused")
        assert guest.code("Event", {"Group": 15}) == 9001
        send_event(guest, 16, "taken")
        assert guest.ping()
        send_event(admin, 15, "admin")
        assert [receiver.event()["Params"] for _ in range(2)] == ["taken", "admin"]


def test_tcp_is_a_guest(start_ravd):
    daemon = start_ravd("--listen", "tcp://127.0.0.1:0")
    with daemon.connect_tcp() as remote, daemon.connect() as local:
        joined(local, 15)
        assert remote.code("Event", {"Group": 15}) == 9001
        assert local.result("Event", {"Group": 15}) == {}


READS = {  # what each method needs to read one name
    "GetParameterNames": lambda name: {"ParameterPath": name, "NextLevel": False},
    "GetParameterValues": lambda name: {"ParameterNames": [name]},
    "GetParameterAttributes": lambda name: {"ParameterNames": [name], "Depth": -1},
    "GetDatamodel": lambda name: {"Paths": [name]},
    "GetConfig": lambda name: {"Path": name},
}


def reads(client, name):
    """Which methods read a name, and all that they give."""
    replies = {method: client.call(method, params(name)) for method, params in READS.items()}
    given = "".join(json.dumps(reply["result"]) for reply in replies.values() if "result" in reply)
    assert all(reply["error"]["code"] == 9005 for reply in replies.values() if "error" in reply), replies
    return {method for method, reply in replies.items() if "result" in reply}, given


def assert_reads_as_guest(client):
    methods, given = reads(client, "Device.")
    assert methods == set(READS) and "UpTime" in given and "SerialNumber" not in given and "Routing" not in given
    for hidden in ("Device.IP.", "Device.Users.User.", "Device.DeviceInfo.SerialNumber"):
        assert reads(client, hidden) == (set(), "")
    assert client.code("GetParameterValues", {"ParameterNames": ["Device.Users.CurrentUser"]}) == 9001
    assert client.result("GetParameterValues", {"ParameterNames": ["Device.Users.SystemAccess"]}) == {
        "ParameterList": [{"Name": "Device.Users.SystemAccess", "Value": False}]}


def test_network_peer_reads_as_guest(start_ravd):
    daemon = start_ravd("--listen", "tcp://127.0.0.1:0")
    with daemon.connect_tcp() as remote, daemon.connect() as local:
        assert_reads_as_guest(remote)
        methods, given = reads(local, "Device.")
        assert methods == set(READS) and "SerialNumber" in given and "Routing" in given


@root_only
def test_other_user_reads_as_guest(open_ravd):
    with connect_as(open_ravd, 65534) as foreign:
        assert_reads_as_guest(foreign)
