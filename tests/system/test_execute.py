"""Execute on the wire and with ravc: names, rights, and what a reply holds. The checks of arguments are unit tests."""

import json
import re

USERS = "Device.Users.User."
CREATE = USERS + "1.CreateToken"


def test_reply_is_the_outputs_by_their_relative_names(connect):
    for path in (CREATE, CREATE + "."):
        result = connect().result("Execute", {"Path": path})
        assert list(result) == ["ParameterList"]
        (output,) = result["ParameterList"]
        assert output["Name"] == "Token" and re.fullmatch("[A-Za-z0-9_-]{43}", output["Value"])
    assert connect().result("Execute", {"Path": USERS + "1.RevokeTokens."}) == {"ParameterList": []}


def test_what_is_no_method_is_named(connect):
    for path in (USERS + "7.CreateToken", USERS + "#template.CreateToken", USERS, "Device.Nothing", CREATE + ".#output.",
                 USERS + "1.Username"):
        error = connect().call("Execute", {"Path": path})["error"]
        assert (error["code"], error["data"]["Data"]) == (9005, {path: "9005 Invalid parameter name"})


def test_arguments_that_the_method_does_not_have(connect):
    pairs = [{"Name": "Life", "Value": 1}, {"Name": "Token", "Value": "x"}]
    error = connect().call("Execute", {"Path": CREATE, "ParameterList": pairs})["error"]
    assert error["code"] == 9003
    assert error["data"]["Data"] == {"Life": "9005 Invalid parameter name", "Token": "9005 Invalid parameter name"}


def test_parameters_of_the_wrong_form(connect):
    for params in ({}, {"Path": 1}, {"Path": CREATE, "ParameterList": {}},
                   {"Path": CREATE, "ParameterList": [{"Name": "A"}]}):
        assert connect().code("Execute", params) == -32602


def test_guests_do_not_see_the_methods_of_users(start_ravd):
    daemon = start_ravd("--listen", "tcp://127.0.0.1:0")
    with daemon.connect_tcp() as guest:
        assert guest.code("Execute", {"Path": CREATE}) == 9005


def test_a_method_that_only_the_schema_has_is_not_supported(start_ravd, tmp_path):
    schema = tmp_path / "schema"
    schema.mkdir()
    tree = {"Device": {"#attr": {"type": "object"}, "Nothing": {"#attr": {"type": "method"}}}}
    (schema / "a.json").write_text(json.dumps(tree))
    with start_ravd(schema=schema).connect() as client:
        assert client.code("Execute", {"Path": "Device.Nothing"}) == 9000


def test_ravc_draws_the_output(ravc):
    result = ravc("-r", "execute", CREATE)
    assert (result.returncode, result.stderr) == (0, "")
    assert re.search(r"Token = '?[A-Za-z0-9_-]{43}", result.stdout), result.stdout
    assert ravc("-r", "execute", USERS + "9.CreateToken").returncode != 0
