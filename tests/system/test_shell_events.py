"""Events while a person types: nothing typed is lost, nothing that came waits for a key."""

import re

import pytest
from middleman import event, result

LINE = "ls Device.DeviceInfo."
VERSION = "cat Device.DeviceInfo.SoftwareVersion"
SHOWN = """EVENT 16:
{
    "Text": "%s"
}"""


@pytest.fixture
def fed(middleman, open_shell):
    """A shell, and the function that sends bytes to it on its events connection."""
    shell = open_shell(middleman.socket).wait_line("")
    return shell, middleman.link("events").send


def marks(shell):
    """The numbers of the events shown so far, in their order."""
    return [int(number) for number in re.findall(rb'    "N": "(\d+)"', shell.output)]


def test_an_event_shows_above_the_half_typed_line(fed):
    shell, send = fed
    shell.send("ls Dev")
    shell.wait_line("ls Dev")
    send(event(16, {"Text": "hello"}))
    shell.wait_text(SHOWN % "hello")
    shell.wait_line("ls Dev")
    assert shell.text().index("hello") < shell.text().rindex("ls Dev")
    assert shell.text().count("ls Dev") == 1
    shell.send("ice.\r")
    shell.wait_text("Device.Time.")


def test_an_event_after_each_key(fed):
    shell, send = fed
    for count, key in enumerate(LINE, 1):
        shell.send(key)
        shell.wait_line(LINE[:count])
        send(event(16, {"Text": f"after {count}"}))
        shell.wait_text(SHOWN % f"after {count}")
        shell.wait_line(LINE[:count])
    shell.send("\r")
    shell.wait_text("Device.DeviceInfo.UpTime")
    shell.wait_line("")


def test_the_cursor_stays_where_it_was(fed):
    shell, send = fed
    shell.send("one two")
    shell.wait_line("one two").send("\x1b[D" * 3)
    shell.wait_line("one ")
    send(event(16, {"Text": "x"}))
    shell.wait_text(SHOWN % "x")
    shell.wait_line("one ").send("1 ")
    shell.wait_line("one 1 ")
    assert shell.rows()[-1].endswith("one 1 two")


@pytest.mark.parametrize("params, shown", [
    (5, "EVENT 16:\n5\n"), ("text", 'EVENT 16:\n"text"\n'), ([], "EVENT 16:\n[]\n"),
    ({"a": [1]}, 'EVENT 16:\n{\n    "a": [\n        1\n    ]\n}\n')])
def test_any_value_is_shown(fed, params, shown):
    shell, send = fed
    send(event(16, params))
    shell.wait_text(shown)


def test_an_event_without_params_is_a_line(fed):
    shell, send = fed
    before = shell.rows()[:-1]
    send(b'{"jsonrpc":"2.0","method":"Event","params":{"Group":4294967295}}\n')
    shell.wait_text("EVENT 4294967295:")
    shell.wait_line("")
    assert shell.rows()[:-1] == [*before, "", "EVENT 4294967295:"]


def test_keep_alive_and_instances_are_not_shown(fed):
    shell, send = fed
    before = shell.text()
    send(event(0, {"Dropped": 3}) + b'{"jsonrpc":"2.0","method":"Event","params":{"Group":0}}\n' +
         event(4, {"Action": "Add", "Path": "Device.Users.User.", "InstanceNumber": 1}) + event(4, "nonsense") +
         b'{"jsonrpc":"2.0","method":"Other"}\n')
    shell.send("x")  # what was sent before has been taken in when this is shown
    shell.wait_line("x")
    assert shell.text() == before.rstrip() + " x"
    assert b"EVENT" not in shell.output


def test_a_hundred_events_in_one_write(fed):
    shell, send = fed
    shell.send("abc")
    shell.wait_line("abc")
    send(b"".join(event(16, {"N": str(n)}) for n in range(100)))
    shell.wait(lambda: len(marks(shell)) == 100, "a hundred events")  # no key is pressed meanwhile
    assert marks(shell) == list(range(100))
    shell.wait_line("abc")


def test_a_part_of_an_event_does_not_hold_up_typing(fed):
    shell, send = fed
    data = event(16, {"Text": "drip"})
    for byte, key in zip(data[:40], LINE + LINE):
        send(bytes([byte]))
        before = shell.line()
        shell.send(key)
        shell.wait_line(before + key)
    assert b"drip" not in shell.output
    send(data[40:])
    shell.wait_text(SHOWN % "drip")
    shell.wait_line((LINE + LINE)[:40])


def test_a_flood_during_a_large_reply(middleman, open_shell):
    """What comes while a command waits is shown behind its output; the reply is right."""
    shell = open_shell(middleman.socket).wait_line("")
    flood = b"".join(event(16, {"N": str(n)}) for n in range(1000))

    def answer(link, request):
        middleman.link("events").send(flood)
        attributes = {"type": "string", "access": "readOnly", "const": True, "description": "x" * 10_000_000}
        link.send(result(request, {"ParameterList": [{"Name": "Device.DeviceInfo.SoftwareVersion",
                                                      "Attributes": attributes}]}))

    shell.send("cd Device.DeviceInfo\r")
    shell.wait(lambda: "DeviceInfo>" in shell.rows()[-1], "the prompt of DeviceInfo")
    shell.wait_line("").send("ls\r")
    shell.wait_text("SoftwareVersion")
    middleman.handlers["GetParameterAttributes"] = answer
    shell.wait_line("").send("attr SoftwareVersion\r")
    shell.wait_output("Canonical path:     :Device.DeviceInfo.SoftwareVersion")
    shell.wait(lambda: len(marks(shell)) == 1000, "all events")
    assert marks(shell) == list(range(1000))
    shell.wait_line("").send(f"cat :{VERSION.split()[1]}\r")
    shell.wait_text("= '0.2.1'")
    shell.wait_line("")


def test_events_of_other_clients(ravd, open_shell, connect):
    shell = open_shell(ravd.socket, "-g", "16").wait_line("")
    connect().notify("Event", {"Group": 16, "Params": {"Text": "from afar"}})
    shell.wait_text(SHOWN % "from afar")


def test_a_connection_that_ends_within_an_event_drops(middleman, open_shell):
    shell = open_shell(middleman.socket).wait_line("")
    link = middleman.link("events")
    link.send(b'{"jsonrpc":"2.0","meth')
    link.close()
    assert shell.wait_end() == 0
    assert shell.rows()[-1] == "Connection dropped"


def test_bytes_that_are_no_message_end_the_shell(fed):
    shell, send = fed
    send(b"garbage\n")
    assert shell.wait_end() == 0
    assert shell.rows()[-1] == "Connection dropped"


@pytest.mark.parametrize("columns", [20, 40, 200])
def test_lines_longer_than_a_row(middleman, open_shell, columns):
    shell = open_shell(middleman.socket, columns=columns).wait_line("")
    line = "x" * 50 + " 日本語 " + "y" * 20
    shell.send(line)
    shell.wait_line(line)
    middleman.link("events").send(event(16, {"Text": "e"}))
    shell.wait_text('"Text": "e"')
    shell.wait_line(line)
    assert shell.text().replace("\n", "").count("x" * 50) == 1
