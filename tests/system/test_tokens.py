"""Tokens on the wire: who may make them, whom they let in, and when they end."""

import pytest
from users import USERS, add_user, code_of, current_user, delete_user, log_in, rights, set_user


@pytest.fixture
def joe(admin):
    """The user joe's instance number."""
    return add_user(admin, "joe")


def create(client, number):
    result = client.result("Execute", {"Path": f"{USERS}{number}.CreateToken"})
    return result["ParameterList"][0]["Value"]


def execute(client, number, method):
    return code_of(client.call("Execute", {"Path": f"{USERS}{number}.{method}"}))


def set_auth(client, token):
    return code_of(client.call("SetAuth", {"Token": token}))


def accepts(daemon, token):
    with daemon.connect_tcp() as client:
        return set_auth(client, token) == 0


def test_token_lets_in_as_its_user(daemon, admin, joe):
    token = create(admin, joe)
    with daemon.connect_tcp() as client:
        assert client.call("SetAuth", {"Token": token})["result"] == {}
        assert (current_user(client), rights(client)) == ("joe", "user")
        assert set_auth(client, "") == 0
        assert (current_user(client), rights(client)) == (None, "guest")


def test_refused_token_makes_a_guest(daemon, admin, joe):
    token = create(admin, joe)
    with daemon.connect() as client:
        for wrong in (token[:-1], token + "A", token.swapcase(), "joe", "x" * 100000):
            assert set_auth(client, token) == 0
            error = client.call("SetAuth", {"Token": wrong})["error"]
            assert error == {"code": 9001, "message": "Request denied"}
            assert (current_user(client), rights(client)) == (None, "guest")
        assert client.code("SetAuth", {}) == -32602
        assert client.code("SetAuth", {"Token": None}) == -32602


def test_token_over_plain_tcp_only_where_allowed(start_ravd):
    daemon = start_ravd("--listen", "tcp://127.0.0.1:0")
    with daemon.connect() as admin:
        token = create(admin, add_user(admin, "joe"))
        with daemon.connect_tcp() as client:
            assert set_auth(client, token) == 9001
        assert set_auth(admin, token) == 0


def test_admins_make_everybodys_and_users_their_own(daemon, admin, joe):
    ann, gus, boss = add_user(admin, "ann"), add_user(admin, "gus", role="guest"), add_user(admin, "boss", role="admin")
    for method in ("CreateToken", "RevokeTokens"):
        for name, allowed, refused in (("joe", {joe}, 9001), ("ann", {ann}, 9001), ("gus", set(), 9005),
                                       ("boss", {joe, ann, gus, boss}, None)):
            for number in (joe, ann, gus, boss):
                with daemon.connect_tcp() as client:
                    assert log_in(client, name) == 0
                    assert execute(client, number, method) == (0 if number in allowed else refused), (name, number)


def test_users_see_of_others_that_they_are_there(daemon, admin, joe):
    with daemon.connect_tcp() as client:
        assert log_in(client, "joe") == 0
        for name in ("Username", "Role", "Enable", "Password", "Alias"):
            assert client.code("GetParameterValues", {"ParameterNames": [f"{USERS}1.{name}"]}) in (9001, 9005)
        assert client.code("AddObject", {"ObjectName": USERS}) == 9001
        assert client.code("DeleteObject", {"ObjectName": f"{USERS}1."}) == 9001


@pytest.mark.parametrize("end", [
    lambda admin, number: set_user(admin, number, Enable=False),
    lambda admin, number: set_user(admin, number, Username="joseph"),
    lambda admin, number: set_user(admin, number, Password="new"),
    delete_user,
    lambda admin, number: execute(admin, number, "RevokeTokens"),
], ids=["disabled", "renamed", "password", "deleted", "revoked"])
def test_tokens_and_their_sessions_end(daemon, admin, joe, end):
    token, other = create(admin, joe), create(admin, 1)
    with daemon.connect_tcp() as client, daemon.connect_tcp() as by_password:
        assert set_auth(client, token) == 0 and log_in(by_password, "joe") == 0
        end(admin, joe)
        assert rights(client) == "guest" and current_user(client) is None
        assert not accepts(daemon, token)
        assert accepts(daemon, other)


def test_revoking_leaves_those_with_a_password(daemon, admin, joe):
    with daemon.connect_tcp() as client:
        assert set_auth(client, create(admin, joe)) == 0
        assert log_in(client, "joe") == 0
        assert execute(client, joe, "RevokeTokens") == 0
        assert rights(client) == "user"


def test_other_changes_end_no_token(daemon, admin, joe):
    token = create(admin, joe)
    set_user(admin, joe, Language="de", Alias="J", Enable=True, Username="joe", Role="admin")
    with daemon.connect_tcp() as client:
        assert set_auth(client, token) == 0
        assert rights(client) == "admin"


def test_tokens_outlive_the_daemon(start_ravd, tmp_path):
    first = start_ravd(state=tmp_path / "state")
    with first.connect() as admin:
        number = add_user(admin, "joe")
        kept, revoked = create(admin, 1), create(admin, number)
        assert execute(admin, number, "RevokeTokens") == 0
    first.process.kill()
    first.process.wait()
    first.socket.unlink()
    second = start_ravd(state=tmp_path / "state")
    with second.connect() as client:
        assert set_auth(client, revoked) == 9001
        assert set_auth(client, kept) == 0


def test_who_can_not_log_in_gets_none(admin, joe):
    nameless = admin.result("AddObject", {"ObjectName": USERS})["InstanceNumber"]
    assert execute(admin, nameless, "CreateToken") == 9001
    set_user(admin, joe, Enable=False)
    assert execute(admin, joe, "CreateToken") == 9001


def test_limit_of_tokens(admin, joe):
    for _ in range(32):
        create(admin, joe)
    assert execute(admin, joe, "CreateToken") == 9004
    assert execute(admin, 1, "CreateToken") == 0
    assert execute(admin, joe, "RevokeTokens") == 0
    create(admin, joe)


def test_tokens_are_nowhere_but_in_the_reply(daemon, admin, joe):
    token = create(admin, joe)
    assert set_auth(admin, token) == 0
    assert set_auth(admin, token[:-3] + "AAA") == 9001
    assert token[:-3] not in daemon.log()
    for file in daemon.state.rglob("*"):
        assert not file.is_file() or token.encode() not in file.read_bytes(), file
