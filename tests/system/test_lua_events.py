"""Lua scripts that wait: for values, and for events."""

import subprocess

from lua import lua  # noqa: F401  (a fixture)
from users import USERS, add_user, delete_user, set_user

LANGUAGE = USERS + "1.Language"


def start(lua, text, *arguments):
    """Starts a script; its output is read line by line."""
    return subprocess.Popen(lua.command(text, *arguments), stdout=subprocess.PIPE, text=True, cwd=lua.folder)


def rest(process):
    with process:
        return process.communicate(timeout=60)[0]


def set_language(client, value):
    set_user(client, 1, Language=value)


def test_wait_for_a_value_that_is_there(lua):
    assert lua.values(f"rv.wait('{LANGUAGE}', '')") == [""]
    assert lua.values(f"rv.wait('{USERS}1.Enable', true, 0)") == [True]
    assert lua.values(f"rv.wait('{USERS}1.', function(all) return all['{LANGUAGE}'] == '' end)[1]") == [None]


def test_wait_for_a_value_that_comes(lua, connect):
    waiting = start(lua, f"print('waits') print(rv.wait('{LANGUAGE}', 'en'))")
    assert waiting.stdout.readline() == "waits\n"
    set_language(connect(), "en")
    assert rest(waiting) == "en\n"


def test_wait_sees_a_value_that_is_gone_at_once(lua, connect):
    client = connect()
    waiting = start(lua, f"print('waits') print(rv.wait('{LANGUAGE}', 'en'))")
    assert waiting.stdout.readline() == "waits\n"
    while waiting.poll() is None:  # only the event can tell: every look finds "de", but for the shortest moment
        client.send("".join(
            f'{{"jsonrpc":"2.0","id":{number},"method":"SetParameterValues","params":{{"ParameterList":'
            f'[{{"Name":"{LANGUAGE}","Value":"{value}"}}]}}}}\n' for number, value in enumerate(("en", "de"))))
        assert client.message()["id"] == 0 and client.message()["id"] == 1
    assert rest(waiting) == "en\n"


def test_wait_for_what_has_no_events(lua):
    (up,) = lua.values("rv.get('Device.DeviceInfo.UpTime')")
    (later,) = lua.values(f"rv.wait('Device.DeviceInfo.UpTime', function(now) return now > {up} end)")
    assert later > up


def test_wait_in_vain(lua):
    assert lua.values(f"rv.wait('{LANGUAGE}', 'nope', 0.3)") == [None, "Timed out", [-8, "Timed out"]]
    assert lua.values(f"rv.wait('{LANGUAGE}', function() return false end, 0)")[2][0] == -8


def test_wait_hands_over_the_events_it_sees(lua, connect):
    waiting = start(lua, "rv.on(1, function(event) seen = event.Path end) print('waits') "
                         f"rv.wait('{LANGUAGE}', function() return seen end) print(seen)")
    assert waiting.stdout.readline() == "waits\n"
    set_user(connect(), 1, Alias="me")
    assert rest(waiting) == f"{USERS}1.Alias\n"


def test_wait_ends_with_the_error_of_its_function(lua):
    assert lua.run(f"rv.wait('{LANGUAGE}', function() error('mine', 0) end)").stdout == "mine\n"


def test_listen(lua, connect):
    listening = start(lua, "rv.on(4, function(event, group) print(group, event.Action, event.InstanceNumber) "
                           "return event.Action == 'Delete' end) print('listens') print(rv.listen())")
    assert listening.stdout.readline() == "listens\n"
    client = connect()
    number = add_user(client, "joe")
    delete_user(client, number)
    assert rest(listening) == f"4\tAdd\t{number}\n4\tDelete\t{number}\n2\n"


def test_listen_gives_events_of_each_group_to_its_function(lua, connect):
    listening = start(lua, "for _, group in ipairs{20, 21} do rv.on(group, function(event, of) "
                           "print(group, of, rv.encode(event or rv.null)) return event == 'end' end) end "
                           "print('listens') rv.listen()")
    assert listening.stdout.readline() == "listens\n"
    client = connect()
    for params in ({"Group": 20, "Params": {"a": []}}, {"Group": 22, "Params": 1}, {"Group": 21},
                   {"Group": 20, "Params": "end"}):
        client.notify("Event", params)
    assert rest(listening) == '20\t20\t{"a":[]}\n21\t21\tnull\n20\t20\t"end"\n'


def test_listen_ends_in_time_and_after_the_last_function(lua):
    assert lua.values("rv.on(20, print), rv.listen(0.05), rv.on(20)") == [True, 0, True]
    assert "no function" in lua.run("rv.on(20, print) rv.on(20) rv.listen(0)").stdout


def test_an_error_in_a_function_ends_listening(lua):
    text = ("rv.on(20, function() error('mine', 0) end) rv.call('LeaveGroup', {Group = 99}) "
            "os.execute('\"' .. arg[1] .. '\" -u \"' .. arg[2] .. '\" -e 20') rv.listen(60)")
    program, _, socket = lua.command("")[:3]
    assert lua.run(text, program, socket).stdout == "mine\n"


def test_listen_tells_of_a_connection_that_ends(lua, ravd):
    listening = start(lua, "rv.on(20, print) print('listens') local n, why, failure = rv.listen() print(n, failure.code)")
    assert listening.stdout.readline() == "listens\n"
    ravd.stop()
    assert rest(listening) == "nil\t-7\n"
