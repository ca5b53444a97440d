"""The envelope: the examples of the JSON-RPC 2.0 specification, framing, and the limits of one message."""

import json

import pytest


def error(code, ident=None):
    return {"code": code, "id": ident}


def seen(reply):
    """What a reply amounts to: its error's code or its result, and its id."""
    assert reply["jsonrpc"] == "2.0"
    assert ("result" in reply) != ("error" in reply)
    if "error" in reply:
        assert isinstance(reply["error"]["message"], str)
        return error(reply["error"]["code"], reply["id"])
    return {"result": reply["result"], "id": reply["id"]}


def answers(client, data):
    """What comes back for data, as far as it comes before the reply to a request sent behind it."""
    client.send(data)
    client.request("LeaveGroup", {"Group": 99}, id="marker")
    got = []
    while True:
        message = client.message()
        if isinstance(message, dict) and message.get("id") == "marker":
            return got
        got.append([seen(each) for each in message] if isinstance(message, list) else seen(message))


JOINED = {"result": {}}

# One example a row: what is sent, and what comes back. Our methods take their parameters by name only.
EXAMPLES = {
    "positional parameters": (
        '{"jsonrpc": "2.0", "method": "JoinGroup", "params": [42], "id": "p1"}', [error(-32602, "p1")]),
    "positional parameters, other order": (
        '{"jsonrpc": "2.0", "method": "Hello", "params": [23, 42], "id": "p2"}', [error(-32602, "p2")]),
    "named parameters": (
        '{"jsonrpc": "2.0", "method": "JoinGroup", "params": {"Group": 42, "Note": 23}, "id": "n3"}',
        [JOINED | {"id": "n3"}]),
    "named parameters, other order": (
        '{"jsonrpc": "2.0", "method": "JoinGroup", "params": {"Note": 23, "Group": 42}, "id": "n4"}',
        [JOINED | {"id": "n4"}]),
    "a notification": ('{"jsonrpc": "2.0", "method": "JoinGroup", "params": {"Group": 5}}', []),
    "a notification of no method": ('{"jsonrpc": "2.0", "method": "foobar"}', []),
    "no such method": ('{"jsonrpc": "2.0", "method": "foobar", "id": "1"}', [error(-32601, "1")]),
    "invalid JSON": ('{"jsonrpc": "2.0", "method": "foobar, "params": "bar", "baz]', [error(-32700)]),
    "an invalid request": ('{"jsonrpc": "2.0", "method": 1, "params": "bar"}', [error(-32600)]),
    "a batch of invalid JSON": (
        '[{"jsonrpc": "2.0", "method": "JoinGroup", "params": {"Group": 1}, "id": "1"},{"jsonrpc": "2.0", "method"]',
        [error(-32700)]),
    "an empty array": ("[]", [error(-32600)]),
    "an invalid batch, not empty": ("[1]", [[error(-32600)]]),
    "an invalid batch": ("[1,2,3]", [[error(-32600)] * 3]),
    "a batch": (
        '[{"jsonrpc": "2.0", "method": "JoinGroup", "params": {"Group": 4}, "id": "1"},'
        '{"jsonrpc": "2.0", "method": "Event", "params": {"Group": 4}},'
        '{"jsonrpc": "2.0", "method": "LeaveGroup", "params": {"Group": 4}, "id": "2"},'
        '{"foo": "boo"},'
        '{"jsonrpc": "2.0", "method": "foo.get", "params": {"name": "myself"}, "id": "5"},'
        '{"jsonrpc": "2.0", "method": "JoinGroup", "params": {"Group": 17}, "id": "9"}]',
        [[JOINED | {"id": "1"}, JOINED | {"id": "2"}, error(-32600), error(-32601, "5"), JOINED | {"id": "9"}]]),
    "a batch of notifications": (
        '[{"jsonrpc": "2.0", "method": "JoinGroup", "params": {"Group": 4}}, {"jsonrpc": "2.0", "method": "foobar"}]',
        []),
}


@pytest.mark.parametrize("name", EXAMPLES)
def test_published_example(connect, name):
    sent, expected = EXAMPLES[name]
    assert answers(connect(), sent + "\n") == expected


def join(ident, **members):
    return json.dumps({"jsonrpc": "2.0", "method": "JoinGroup", "params": {"Group": 20}, "id": ident} | members)


ENVELOPES = {
    "carriage return": (join(1) + "\r\n", [JOINED | {"id": 1}]),
    "empty lines": ("\n\r\n\n" + join(1) + "\n\n", [JOINED | {"id": 1}]),
    "two in one write": (join(1) + "\n" + join(2) + "\n", [JOINED | {"id": 1}, JOINED | {"id": 2}]),
    "two on one line": (join(1) + join(2) + "\n", [error(-32700)]),
    "bare number": ("1\n", [error(-32700)]),
    "bare text": ('"a"\n', [error(-32700)]),
    "bare null": ("null\n", [error(-32700)]),
    "blanks": ("  \n", [error(-32700)]),
    "duplicate key": ('{"jsonrpc":"2.0","method":"JoinGroup","params":{"Group":1,"Group":2},"id":1}\n', [error(-32700)]),
    "zero character": (join(1).replace("20", '20,"x":"\\u0000"') + "\n", [error(-32700)]),
    "zero byte": (b'{"jsonrpc":"2.0","method":"a\0b","id":1}\n', [error(-32700)]),
    "not UTF-8": (b'{"jsonrpc":"2.0","method":"\xff","id":1}\n', [error(-32700)]),
    "a surrogate alone": (b'{"jsonrpc":"2.0","method":"\xed\xa0\x80","id":1}\n', [error(-32700)]),
    "no version": ('{"method":"JoinGroup","params":{"Group":20},"id":7}\n', [error(-32600, 7)]),
    "another version": (join(7, jsonrpc="1.0") + "\n", [error(-32600, 7)]),
    "version as a number": (join(7, jsonrpc=2.0) + "\n", [error(-32600, 7)]),
    "no method": ('{"jsonrpc":"2.0","id":7}\n', [error(-32600, 7)]),
    "a reply": ('{"jsonrpc":"2.0","result":{},"id":7}\n', [error(-32600, 7)]),
    "parameters as a text": (join(7, params="x") + "\n", [error(-32600, 7)]),
    "id null": (join(None) + "\n", [JOINED | {"id": None}]),
    "id negative": (join(-7) + "\n", [JOINED | {"id": -7}]),
    "id real": (join(1.5) + "\n", [JOINED | {"id": 1.5}]),
    "id greatest": (join(2**63 - 1) + "\n", [JOINED | {"id": 2**63 - 1}]),
    "id as an object": (join({}) + "\n", [error(-32600)]),
    "id as an array": (join([1]) + "\n", [error(-32600)]),
    "id as a boolean": (join(True) + "\n", [error(-32600)]),
    "id of 256 bytes": (join("x" * 256) + "\n", [JOINED | {"id": "x" * 256}]),
    "id of 257 bytes": (join("x" * 257) + "\n", [error(-32600)]),
    "id of 256 bytes in two-byte characters": (join("é" * 128) + "\n", [JOINED | {"id": "é" * 128}]),
    "id of 258 bytes in two-byte characters": (join("é" * 129) + "\n", [error(-32600)]),
    "id with escapes": (join('a"\\\n\x7fé') + "\n", [JOINED | {"id": 'a"\\\n\x7fé'}]),
    "parameter missing": (join(1, params={}) + "\n", [error(-32602, 1)]),
    "parameters missing": ('{"jsonrpc":"2.0","method":"JoinGroup","id":1}\n', [error(-32602, 1)]),
    "parameter as a text": (join(1, params={"Group": "20"}) + "\n", [error(-32602, 1)]),
    "group -1": (join(1, params={"Group": -1}) + "\n", [error(-32602, 1)]),
    "group 4294967295": (join(1, params={"Group": 4294967295}) + "\n", [JOINED | {"id": 1}]),
    "group 4294967296": (join(1, params={"Group": 4294967296}) + "\n", [error(-32602, 1)]),
    "a wrong notification": ('{"jsonrpc":"2.0","method":"JoinGroup","params":[1]}\n', []),
}


@pytest.mark.parametrize("name", ENVELOPES)
def test_envelope(connect, name):
    sent, expected = ENVELOPES[name]
    assert answers(connect(), sent) == expected


def test_wrong_parameter_is_named(connect):
    reply = connect().call("GetParameterNames", {"ParameterPath": ".", "NextLevel": 1})
    assert reply["error"]["code"] == -32602
    assert reply["error"]["data"]["Detail"].startswith("NextLevel")


def test_bytes_may_come_one_by_one(connect):
    client = connect()
    for byte in (join(1) + "\r\n").encode():
        client.send(bytes([byte]))
    assert seen(client.message()) == JOINED | {"id": 1}


def nested(levels):
    """A request that nests so many levels: its own, that of its parameters, and arrays."""
    inner = "[" * (levels - 2) + "]" * (levels - 2)
    return '{"jsonrpc":"2.0","method":"JoinGroup","params":{"Group":20,"x":' + inner + '},"id":1}\n'


def test_nesting_of_128_levels(connect):
    assert answers(connect(), nested(128)) == [JOINED | {"id": 1}]


def test_nesting_of_129_levels_ends_the_connection(connect):
    client = connect()
    client.send(nested(129))
    assert seen(client.message()) == error(-32600)
    assert client.ended()


def test_batch_counts_as_a_level(connect):
    client = connect()
    assert answers(client, "[" + nested(127)[:-1] + "]\n") == [[JOINED | {"id": 1}]]
    client.send("[" + nested(128)[:-1] + "]\n")
    assert seen(client.message()) == error(-32600)
    assert client.ended()


def test_brackets_in_texts_are_no_nesting(connect):
    message = join(1, params={"Group": 20, "x": '\\"' + "[" * 1000 + '"' + "{" * 1000})
    assert answers(connect(), message + "\n") == [JOINED | {"id": 1}]


def padded(size):
    """A request of so many bytes."""
    message = '{"jsonrpc":"2.0","method":"JoinGroup","params":{"Group":20,"x":"%s"},"id":1}'
    return message % ("x" * (size - len(message) + 2))


@pytest.mark.parametrize("end", ["\n", "\r\n"])
def test_message_size(start_ravd, end):
    with start_ravd("--max-message", 1000).connect() as client:
        assert answers(client, padded(1000) + end) == [JOINED | {"id": 1}]
        client.send(padded(1001) + end)
        assert seen(client.message()) == error(-32600)
        assert client.ended()


def test_message_without_end_is_refused_early(start_ravd):
    with start_ravd("--max-message", 1000).connect() as client:
        client.send("x" * 1100)
        assert seen(client.message()) == error(-32600)
        assert client.ended()


def test_message_of_16_mib(connect):
    assert answers(connect(), padded(16 * 1024 * 1024) + "\n") == [JOINED | {"id": 1}]


def test_message_above_16_mib_gets_its_error_although_unread(connect):
    client = connect()
    client.send(padded(16 * 1024 * 1024 + 100_000) + "\n")
    assert seen(client.message()) == error(-32600)
    assert client.ended()


def test_tcp_guest_has_64_kib(start_ravd):
    daemon = start_ravd("--listen", "tcp://127.0.0.1:0")
    with daemon.connect_tcp() as client:
        assert answers(client, padded(64 * 1024) + "\n") == [JOINED | {"id": 1}]
        client.send(padded(64 * 1024 + 1) + "\n")
        assert seen(client.message()) == error(-32600)
        assert client.ended()


def test_too_many_values(start_ravd):
    with start_ravd("--limit", "values=100").connect() as client:
        assert answers(client, join(1, params={"Group": 20, "x": [1] * 50}) + "\n") == [JOINED | {"id": 1}]
        client.send(join(1, params={"Group": 20, "x": [1] * 200}) + "\n")
        assert seen(client.message()) == error(-32600)
        assert client.ended()


def test_batch_of_too_many_requests(start_ravd):
    with start_ravd("--limit", "batch=3").connect() as client:
        assert answers(client, "[1,2,3]\n") == [[error(-32600)] * 3]
        assert answers(client, "[1,2,3,4]\n") == [error(-32600)]


def test_batch_with_too_long_a_reply(start_ravd):
    with start_ravd("--limit", "batch-reply=1000").connect() as client:
        discover = '{"jsonrpc":"2.0","method":"rpc.discover","id":%d}'
        notification = '{"jsonrpc":"2.0","method":"JoinGroup","params":{"Group":1}}'
        client.send("[" + ",".join([discover % 1, discover % 2, notification, discover % 3]) + "]\n")
        replies = client.message()
    assert [reply["id"] for reply in replies] == [1, 2, 3]
    assert "result" in replies[0]
    assert [reply["error"]["code"] for reply in replies[1:]] == [9004, 9004]


@pytest.mark.parametrize("method", ["GetParameterValues", "GetParameterAttributes"])
def test_short_list_of_names_with_too_long_a_reply(start_ravd, method):
    daemon = start_ravd("--listen", "tcp://127.0.0.1:0", "--limit", "reply=40000", "--limit", "reply-guest=20000")
    params = {"ParameterNames": ["Device.DeviceInfo.MemoryStatus."], "Depth": -1}
    with daemon.connect() as local, daemon.connect_tcp() as guest:
        short = len(json.dumps(local.result(method, params)))
        fits_guest, fits_local, fits_nobody = 10000 // short, 30000 // short, 60000 // short
        for client, count, fits in ((guest, fits_guest, True), (guest, fits_local, False),
                                    (local, fits_local, True), (local, fits_nobody, False)):
            reply = client.call(method, {**params, "ParameterNames": params["ParameterNames"] * count})
            if fits:
                assert len(reply["result"]["ParameterList"]) % count == 0
            else:
                assert reply["error"]["code"] == 9004
            assert client.ping()


def test_requests_before_the_end_of_input_are_answered(connect):
    client = connect()
    client.send("".join(join(n) + "\n" for n in range(200)))
    client.sock.shutdown(1)
    assert [client.message()["id"] for _ in range(200)] == list(range(200))
    assert client.ended()


def test_discover_describes_every_method(connect):
    document = connect().result("rpc.discover")
    assert document["openrpc"].startswith("1.")
    assert {"title", "version"} <= document["info"].keys()
    names = [method["name"] for method in document["methods"]]
    assert len(set(names)) == len(names)
    assert {"Hello", "JoinGroup", "LeaveGroup", "Event", "GetParameterNames", "GetParameterValues",
            "GetParameterAttributes", "GetDatamodel", "GetConfig", "rpc.discover"} <= set(names)
    for method in document["methods"]:
        assert "result" in method
        for parameter in method["params"]:
            assert {"name", "required", "schema", "description"} <= parameter.keys()
