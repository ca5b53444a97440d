"""The data-model commands, one-shot against a real ravd: names as typed, texts and statuses as they are."""

import re

import pytest
from daemon import SOURCE

pytestmark = pytest.mark.usefixtures("ravd")


@pytest.fixture
def ravd(start_ravd):
    return start_ravd(schema=SOURCE / "tests" / "data" / "random_model")


def outcome(result):
    assert result.stderr == ""
    return result.returncode, result.stdout


INVALID_NAME = '[9005] Invalid parameter name\n{0}: "9005 Invalid parameter name"\n'


def test_ls(ravc):
    assert outcome(ravc("-r", "ls")) == (0, "DataModelVersion\nDevice.\n")
    assert outcome(ravc("-r", "ls", "Device.")) == (
        0, "Device.Count\nDevice.Fixed\nDevice.Flag\nDevice.Row.\nDevice.Text\n")
    assert outcome(ravc("-r", "GetParameterNames", "Device.Row")) == (0, "Device.Row.max_instance\n")
    assert outcome(ravc("-r", "ls", "Device.Count")) == (0, "Device.Count\n")
    assert outcome(ravc("-r", "ls", "Device.Nope")) == (255, "ls: Device.Nope: no such node\n")
    assert outcome(ravc("-r", "ls", "Device.Row.", "Nope")) == (
        0, "Device.Row.:\nDevice.Row.max_instance\n\nNope:\nls: Nope: no such node\n\n")


def test_ls_long(ravc):
    status, text = outcome(ravc("-r", "ls", "--", "-l", "Device."))
    assert status == 0
    assert [line.split() for line in text.splitlines()] == [
        ["Type", "Access", "Perms", "Flags", "Name"],
        ["object", "RW", "rwrwr-", "O", "."],
        ["object", "RW", "rwrwr-", "OM", "Row."],
        ["int[-10:100]", "RW", "rwrwr-", "-", "Count"],
        ["string", "RO", "rwrwr-", "-", "Fixed"],
        ["boolean", "RW", "rwrwr-", "-", "Flag"],
        ["string(8)", "RW", "rwrwr-", "-", "Text"]]
    assert outcome(ravc("-r", "ls", "--", "-l", "Nope.")) == (0, "Type  Access  Perms  Flags  Name\n")


def test_attr_by_method(ravc):
    assert outcome(ravc("-r", "attr", "Device.Count")) == (
        0, "Canonical path:     :Device.Count\nType:               int\nDefault:            5\n"
           "Minimal inclusive:  -10\nMaximum inclusive:  100\n\n")
    assert outcome(ravc("-r", "info", "Device.Row.99.Label", "Device.Row"))[1].count("Canonical path:") == 2
    assert outcome(ravc("-r", "GetParameterAttributes", "Nope")) == (255, "GetParameterAttributes: ERROR\n")


def test_set_and_get(ravc):
    assert outcome(ravc("-r", "set", "Device.Count=7", 'Device.Text="a b"')) == (
        0, 'key = Device.Count, value = 7\nkey = Device.Text, value = "a b"\nStatus: OK\n')
    assert outcome(ravc("-r", "get", "Device.")) == (
        0, "Count = 7\nText  = 'a b'\nFlag  = false\nFixed = ''\n")


def test_set_refused_changes_nothing(ravc):
    status, text = outcome(ravc("-r", "set", "Device.Count=8", 'Device.Text="far too long"', "Device.Nope=1"))
    assert status == 0
    assert re.search(r'^\[9003\] .*\nDevice\.Text: "9007 Invalid parameter value: .*"\n'
                     r'Device\.Nope: "9005 Invalid parameter name"\n\Z', text, re.M), text
    assert outcome(ravc("-r", "get", "Device.Count")) == (0, " = 5\n")


def test_set_of_text_that_is_no_json_is_dropped(ravc):
    assert outcome(ravc("-r", "set", "Device.Text=word")) == (
        255, "key = Device.Text, value = word\nset: no argument.\n")


def test_set_by_its_method_name_converts(ravc):
    assert outcome(ravc("-r", "SetParameterValues", 'Device.Count="9"'))[1].endswith("Status: OK\n")
    assert outcome(ravc("-r", "get", "Device.Count")) == (0, " = 9\n")
    assert "9006" in outcome(ravc("-r", "set", 'Device.Count="9"'))[1]


def test_add_and_del(ravc):
    assert outcome(ravc("-r", "add", "Device.Row.")) == (1, "Instance number: 1\nStatus: OK\n")
    assert outcome(ravc("-r", "touch", "Device.Row", "5")) == (2, "Instance number: 2\nStatus: OK\n")
    assert outcome(ravc("-r", "get", "Device.Row.max_instance")) == (0, " = 2\n")
    assert outcome(ravc("-r", "rm", "Device.Row.2.")) == (0, "Status: OK\n")
    assert outcome(ravc("-r", "AddObject", "Device.Row.")) == (3, "Instance number: 3\nStatus: OK\n")
    assert outcome(ravc("-r", "del", "Device.Row.2")) == (0, INVALID_NAME.format("Device.Row.2"))
    assert outcome(ravc("-r", "cat", "Device.Row.#template.Label")) == (0, "1.Label = 'new'\n3.Label = 'new'\n")


# A script has logged in, so it has a node cache: values are typed by the schema, paths are those of the shell.
def test_script_goes_on_after_an_add(ravc):
    assert outcome(ravc("-s", input="add Device.Row.\nset Device.Row.1.Label=x\nget :Device.Row.1.Label\n")) == (
        0, "Instance number: 1\nStatus: OK\nkey = Device.Row.1.Label, value = x\nStatus: OK\n = 'x'\n")
