"""The audit: one line in the log for each change, naming who made it, and nothing that may not be told."""

import os

import pytest
from daemon import wait_for
from users import USERS, add_user, log_in, set_user

ME = f'user=- role=admin peer="uid {os.getuid()}"'
TIME = "Device.Time."


@pytest.fixture
def new_lines(daemon):
    """Gives the audit lines since it was called last. A reply comes after the lines of its request."""
    seen = 0

    def lines():
        nonlocal seen
        found = [line[10:] for line in daemon.log().splitlines() if line.startswith("<5>audit: ")]
        new, seen = found[seen:], len(found)
        return new

    return lines


def pairs(**values):
    return {"ParameterList": [{"Name": name.replace("_", "."), "Value": value} for name, value in values.items()]}


def test_each_change_is_one_line(admin, new_lines):
    assert admin.result("SetParameterValues", pairs(Device_Time_Enable=False, Device_System_Contact="a b"))
    assert admin.result("RawSetParameterValues", pairs(Device_Time_Enable="true"))
    number = add_user(admin, "joe", password=None)
    admin.result("Execute", {"Path": f"{USERS}{number}.CreateToken"})
    admin.result("Execute", {"Path": f"{USERS}{number}.RevokeTokens"})
    admin.result("DeleteObject", {"ObjectName": f"{USERS}{number}"})
    assert [line.removeprefix(ME + " method=") for line in new_lines()] == [
        "SetParameterValues set path=Device.Time.Enable old=true new=false",
        'SetParameterValues set path=Device.System.Contact old="" new="a b"',
        "RawSetParameterValues set path=Device.Time.Enable old=false new=true",
        f"AddObject add path={USERS}{number}.",
        f'SetParameterValues set path={USERS}{number}.Username old="" new="joe"',
        f'SetParameterValues set path={USERS}{number}.Role old="guest" new="user"',
        f"SetParameterValues set path={USERS}{number}.Enable old=false new=true",
        f"Execute execute path={USERS}{number}.CreateToken. arguments={{}}",
        f"Execute execute path={USERS}{number}.RevokeTokens. arguments={{}}",
        f"DeleteObject delete path={USERS}{number}.",
    ]


def test_reading_and_refusals_leave_no_line(daemon, admin, new_lines):
    admin.result("GetParameterValues", {"ParameterNames": ["."]})
    admin.code("SetParameterValues", pairs(Device_Time_Enable=False, Device_Time_Nothing=1))
    admin.code("AddObject", {"ObjectName": TIME})
    admin.code("DeleteObject", {"ObjectName": USERS + "9."})
    admin.code("Execute", {"Path": USERS + "9.CreateToken"})
    with daemon.connect_tcp() as guest:
        guest.code("SetParameterValues", pairs(Device_Time_Enable=False))
    admin.result("SetParameterValues", pairs(Device_Time_Enable=True))  # as it was
    assert new_lines() == []


def test_who_has_logged_in_is_named(daemon, admin, new_lines):
    add_user(admin, "joe", role="admin")
    new_lines()
    with daemon.connect_tcp() as client:
        assert log_in(client, "joe") == 0
        client.result("SetParameterValues", pairs(Device_Time_Enable=False))
    assert new_lines() == ['user="joe" role=admin peer="127.0.0.1" method=SetParameterValues '
                           "set path=Device.Time.Enable old=true new=false"]


def test_passwords_are_masked_and_told_by_who_set_them(daemon, admin, new_lines):
    number = add_user(admin, "joe", password="canary-1", role="admin")
    new_lines()
    with daemon.connect_tcp() as client:
        assert log_in(client, "joe", "canary-1") == 0
        set_user(client, number, Password="canary-2")  # which ends the session that sets it
    assert new_lines() == ['user="joe" role=admin peer="127.0.0.1" method=SetParameterValues '
                           f'set path={USERS}{number}.Password old="***" new="***"']
    assert "canary" not in daemon.log() and "$y$" not in daemon.log()


def test_no_value_forges_a_line(admin, new_lines):
    value = 'x"\n<5>audit: user="root" path=y new="z\t\u00e9\u2028'
    admin.result("SetParameterValues", pairs(Device_System_Contact=value))
    (line,) = new_lines()
    assert line == (ME + ' method=SetParameterValues set path=Device.System.Contact old="" '
                    r'new="x\"\n<5>audit: user=\"root\" path=y new=\"z\t\xc3\xa9\xe2\x80\xa8"')


def connected(daemon):
    try:
        return daemon.connect()
    except OSError:
        return None


def test_no_level_silences_it(start_ravd):
    daemon = start_ravd("--log-level", "error", ready=False)
    with wait_for(lambda: connected(daemon), "an answer") as client:
        client.result("SetParameterValues", pairs(Device_Time_Enable=False))
    assert daemon.log().splitlines()[-1] == (
        f"<5>audit: {ME} method=SetParameterValues set path=Device.Time.Enable old=true new=false")
