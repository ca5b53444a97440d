"""What Lua scripts reach of a daemon: every function of rv, with what it gives when it fails."""

import json
import os
import subprocess

import pytest
from lua import Scripts, lua  # noqa: F401  (a fixture)
from middleman import result
from users import USERS, add_user

VERSION = "Device.DeviceInfo.SoftwareVersion"
ADMIN = USERS + "1."


def test_get(lua):
    assert lua.values(f"rv.get('{VERSION}')") == ["0.2.1"]
    assert lua.values(f"rv.get('{ADMIN}Enable', '{VERSION}')") == [True, "0.2.1"]
    (up,) = lua.values("math.type(rv.get('Device.DeviceInfo.UpTime'))")
    assert up == "integer"


def test_get_of_an_object_is_flat(lua, connect):
    (admin,) = lua.values(f"rv.get('{ADMIN}')")
    listed = connect().result("GetParameterValues", {"ParameterNames": [ADMIN]})["ParameterList"]
    assert admin == {entry["Name"]: entry["Value"] for entry in listed} and admin[ADMIN + "Username"] == "admin"
    assert lua.values(f"rv.get('{ADMIN.rstrip('.')}')") == [admin]


def test_get_of_several_paths_gives_each_its_own(lua):
    (admin,) = lua.values(f"rv.get('{ADMIN}')")
    (users,) = lua.values("rv.get('Device.Users.')")
    paths = [ADMIN, "Device.Users.", ADMIN + "Role", ADMIN, ADMIN + "Role", USERS + "#template.Role", "Device.Users."]
    listed = ", ".join(f"'{path}'" for path in paths)
    assert lua.values(f"rv.get({listed})") == [admin, users, "admin", admin, "admin", {ADMIN + "Role": "admin"}, users]
    (everything,) = lua.values("rv.get('.')")
    assert set(users) < set(everything)


@pytest.mark.parametrize("call", ["rv.get('Device.Nope')", f"rv.get('{VERSION}', 'Device.Nope')", "rv.names('Device.Nope')",
                                  "rv.attributes('Device.Nope')", "rv.tree('Device.Nope')", "rv.schema('Device.Nope')",
                                  "rv.each('Device.Nope')", "rv.add('Device.Nope')", "rv.del('Device.Nope.1.')",
                                  "rv.execute('Device.Nope')", "rv.wait('Device.Nope', 1)"])
def test_a_name_that_is_unknown(lua, call):
    value, message, failure = lua.values(call)
    assert (value, failure) == (None, [9005, message]), call


@pytest.mark.parametrize(("call", "message"), [
    ("rv.get()", "bad argument #1 to 'get' (string expected, got no value)"),
    ("rv.get('a', {})", "bad argument #2 to 'get' (string expected, got table)"),
    ("rv.get('a', 'b\\0')", "bad argument #2 to 'get' (a zero byte is in it)"),
    ("rv.get('\\xff')", "a text that is not UTF-8 can't be JSON"),
    ("rv.set('a')", "bad argument #2 to 'set' (value expected)"),
    ("rv.set('a', nil)", "nil can't be JSON: its null is rv.null"),
    ("rv.set('a', print)", "a function can't be JSON"),
    ("rv.set({1})", "bad argument #1 to 'set' (its keys must be names)"),
    ("rv.set{a = 1, b = 0/0 ~= 0 and print}", "b: a function can't be JSON"),
    ("rv.set({}, 1)", "bad argument #2 to 'set' (a table has the values in it)"),
    ("rv.set('a\\0', 1)", "bad argument #1 to 'set' (a zero byte is in it)"),
    ("rv.set{['a\\0'] = 1}", "bad argument #1 to 'set' (a zero byte is in a name)"),
    ("rv.del('Device.Users.User.1.\\0')", "bad argument #1 to 'del' (a zero byte is in it)"),
    ("rv.each('Device.Users.User.\\0')", "bad argument #1 to 'each' (a zero byte is in it)"),
    ("rv.add('a', 1)", "bad argument #2 to 'add' (table expected, got number)"),
    ("rv.names('\\xff')", "a text that is not UTF-8 can't be sent"),
    ("rv.attributes('a', 2)", "bad argument #2 to 'attributes' (a depth is 0, 1 or -1)"),
    ("rv.execute('a', 1)", "bad argument #2 to 'execute' (table expected, got number)"),
    ("rv.call('a', 1)", "bad argument #2 to 'call' (table expected, got number)"),
    ("rv.call('GetConfig\\0')", "bad argument #1 to 'call' (a zero byte is in it)"),
    ("rv.wait('a')", "bad argument #2 to 'wait' (value expected)"),
    ("rv.wait('a', {})", "bad argument #2 to 'wait' (a function or a plain value)"),
    ("rv.wait('a', 1, -1)", "bad argument #3 to 'wait' (seconds are not negative)"),
    ("rv.on(0, print)", "bad argument #1 to 'on' (no event group)"),
    ("rv.on(4, 1)", "bad argument #2 to 'on' (function expected, got number)"),
    ("rv.listen()", "no function is there for events: see rv.on"),
    ("rv.check()", "bad argument #1 to 'check' (value expected)"),
    ("rv.check(nil)", "check failed"),
    ("rv.check(nil, 'why')", "why"),
])
def test_arguments_that_make_no_sense_are_errors(lua, call, message):
    assert lua.run(call).stdout == f"script.lua:1: {message}\n"


def test_set_and_del(lua, connect):
    number = add_user(connect(), "joe")
    assert lua.values(f"rv.set('{USERS}{number}.Enable', false)") == [True]
    assert lua.values(f"rv.set{{['{USERS}{number}.Enable'] = true, ['{USERS}{number}.Role'] = 'guest'}}") == [True]
    (joe,) = lua.values(f"rv.get('{USERS}{number}.')")
    assert joe[f"{USERS}{number}.Enable"] is True and joe[f"{USERS}{number}.Role"] == "guest"
    assert lua.values("rv.set{}") == [True]
    assert lua.values(f"rv.del('{USERS}{number}')") == [True]
    assert lua.values(f"rv.get('{USERS}{number}.')")[2][0] == 9005


def test_set_is_all_or_nothing(lua):
    values = f"['{ADMIN}Language'] = 'xx', ['{ADMIN}Role'] = 'king', ['{ADMIN}Enable'] = 1"
    text = lua.output(f"local _, _, failure = rv.set{{{values}}} print(rv.encode(failure.data)) print(failure.code)"
                      f"print(rv.get('{ADMIN}Language'))")
    data, code, language = text.split("\n")[:3]
    assert {name: told[:4] for name, told in json.loads(data).items()} == {ADMIN + "Role": "9007", ADMIN + "Enable": "9006"}
    assert (code, language) == ("9003", "")


def test_numbers_keep_their_types(lua):
    # 1.0 is no integer for the daemon, and 5 is no text
    assert lua.values("rv.set('Device.ManagementServer.PeriodicInformInterval', 600)") == [True]
    assert lua.values("rv.set('Device.ManagementServer.PeriodicInformInterval', 600.0)")[2][0] == 9003
    assert lua.values(f"rv.set('{ADMIN}Language', 5)")[2][0] == 9003


def test_add(lua):
    (number,) = lua.values("rv.add('Device.Users.User')")
    assert lua.values(f"rv.add('Device.Users.User.', {{Username = 'joe'}})") == [number + 1]
    assert lua.values(f"rv.get('{USERS}{number + 1}.Username')") == ["joe"]


def test_add_leaves_nothing_behind_where_its_values_can_not_be_set(lua):
    assert lua.values("rv.add('Device.Users.User.', {Username = 'joe', Role = 'king'})")[2][0] == 9003
    assert lua.run("rv.add('Device.Users.User.', {Username = print})").stdout == \
        "script.lua:1: Username: a function can't be JSON\n"
    assert lua.values("#rv.names('Device.Users.User.')") == [1]


def test_names_attributes_tree_and_schema(lua, connect):
    client = connect()

    def names(next_level):
        reply = client.result("GetParameterNames", {"ParameterPath": "Device.Users.", "NextLevel": next_level})
        return [entry["Name"] for entry in reply["ParameterList"]]

    assert lua.values("rv.names('Device.Users.')") == [names(True)]
    assert lua.values("rv.names('Device.Users.', true)") == [names(False)]
    for depth in (0, 1, -1):
        reply = client.result("GetParameterAttributes", {"ParameterNames": [USERS], "Depth": depth})
        expected = {entry["Name"]: entry["Attributes"] for entry in reply["ParameterList"]}
        assert lua.values(f"rv.attributes('{USERS}', {depth})") == [expected]
    config = client.result("GetConfig", {"Path": USERS})["Config"]
    assert lua.values(f"rv.tree('{USERS}')") == [config["Device"]["Users"]["User"]]
    assert lua.values("rv.tree('.').Device.Users.User['1'].Username") == ["admin"]
    assert lua.values(f"rv.tree('{ADMIN}Username')") == ["admin"]
    assert lua.values(f"rv.tree('{ADMIN}Password')")[2][0] == 9005, "secrets are not in it"
    model = client.result("GetDatamodel", {"Paths": [USERS], "Depth": -1})["Datamodel"]
    assert lua.values(f"rv.schema('{USERS}')") == [model["Device"]["Users"]["User"]]
    assert lua.values(f"rv.schema('{ADMIN}Role')['#attr'].type") == ["enumeration"]


def test_select_and_each(lua, connect):
    number = add_user(connect(), "joe")
    (found,) = lua.values("rv.select('Device.Users.User.*{Username}')")
    assert found == {ADMIN.rstrip("."): {"Username": "admin"}, f"{USERS}{number}": {"Username": "joe"}}
    assert lua.values("rv.select('Device.Users.User.[')")[2][0] == 9003
    text = lua.output("for number, name in rv.each('Device.Users.User') do print(number, name) end")
    assert text == f"1\t{ADMIN}\n{number}\t{USERS}{number}.\n"
    assert lua.output("for number, name in rv.each('Device.DeviceInfo.') do print(name) end") == "", "no instances"


def test_execute_and_call(lua):
    (outputs,) = lua.values(f"rv.execute('{ADMIN}CreateToken')")
    assert len(outputs["Token"]) == 43
    assert lua.values(f"rv.execute('{ADMIN}CreateToken()')")[2][0] == 9005
    assert lua.values(f"rv.execute('{ADMIN}CreateToken', {{Nope = 1}})")[2][0] == 9003
    assert lua.values("rv.call('GetParameterNames', {ParameterPath = '.', NextLevel = true}).ParameterList[1].Name") == \
        ["Device."]
    assert lua.values("rv.call('nope')")[2][0] == -32601
    assert lua.values("rv.call('LeaveGroup', {Group = 77})") == [{}]


def test_a_guest_is_refused(daemon, tmp_path):
    guest = Scripts(f"tcp://127.0.0.1:{daemon.ports()[0]}", tmp_path)
    assert guest.values(f"rv.get('{VERSION}')") == ["0.2.1"]
    for call, code in (("rv.get('Device.Time.Enable')", 9005), ("rv.set('Device.Time.Enable', true)", 9003),
                       ("rv.add('Device.Users.User.')", 9005), (f"rv.del('{ADMIN}')", 9005),
                       (f"rv.execute('{ADMIN}CreateToken')", 9005), ("rv.tree('Device.Users.User.')", 9005)):
        value, _, failure = guest.values(call)
        assert value is None and failure[0] == code, (call, failure)


def test_check_raises_the_failure_with_its_place(lua):
    assert lua.values("rv.check(1, 2, 3)") == [1, 2, 3]
    assert lua.values("rv.check(false, 'why')") == [False, "why"]
    text = "\nlocal function read()\n  rv.check(rv.get('Device.Nope'))\nend\nread()"
    assert lua.run(text).stdout == \
        "script.lua:3: Invalid parameter name (9005); Device.Nope: 9005 Invalid parameter name\n"
    assert lua.values("select(2, pcall(function() rv.check(rv.get('Device.Nope')) end)).code") == [9005]


def test_entries_without_names_do_no_harm(middleman, tmp_path):
    for method in ("GetParameterValues", "GetParameterAttributes", "Execute", "GetParameterNames"):
        middleman.handlers[method] = lambda link, request: link.client.sendall(result(request, {"ParameterList": [{}, 1]}))
    lua = Scripts(middleman.socket, tmp_path)
    assert lua.values("rv.get('a.'), rv.attributes('a'), rv.execute('a'), rv.names('a')") == \
        [{}, {"": None}, {"": None}, []]
    assert lua.output("for number in rv.each('a') do print(number) end") == ""


def test_a_daemon_that_goes_is_told(lua, ravd):
    command = lua.command("print(rv.get('.') ~= nil) io.read() print(select(3, rv.get('.')).code < 0)")
    with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, cwd=lua.folder) as script:
        assert script.stdout.readline() == "true\n"
        ravd.stop()
        assert script.communicate("\n", timeout=60)[0] == "true\n"


def test_ten_thousand_statements_take_no_more_memory_than_a_thousand(lua):
    text = lua.output(f"""
        local function resident()
            collectgarbage()
            for line in io.lines("/proc/self/status") do
                local size = line:match("^VmRSS:%s*(%d+)")
                if size then return tonumber(size) end
            end
        end
        local function statements(count)
            for i = 1, count do
                rv.check(rv.get("{VERSION}", "{ADMIN}"))
                assert(not rv.get("Device.Nope"))
                assert(not pcall(rv.set, "Device.Nope", print))
                rv.decode(rv.encode({{i, {{a = i}}}}))
                load("return 1 + " .. i)()
            end
        end
        statements(1000)
        local before = resident()
        statements(10000)
        print(resident() - before)""", env={**os.environ, "ASAN_OPTIONS": "detect_leaks=1:quarantine_size_mb=1"})
    assert int(text) < 1024, "KiB"
