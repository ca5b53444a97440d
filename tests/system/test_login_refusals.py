"""What refused logins cost, and whom; and what the log and the memory keep of them."""

import json
import os

import pytest
from memory import is_in_memory
from users import LONG_PAUSES, NO_PAUSES, code_of, current_user, log_in


@pytest.fixture
def daemon(start_with_users):
    return start_with_users(*NO_PAUSES)


def test_only_the_peer_that_was_refused_has_to_wait(start_with_users):
    daemon = start_with_users(*LONG_PAUSES, "--listen", "tcp://127.0.0.1:0", "--allow-plain-login")
    connect = daemon.connect_tcp
    with connect() as bad, connect() as same, connect(source="127.0.0.2") as other, daemon.connect() as local:
        assert [log_in(bad, "anna", "wrong") for _ in range(2)] == [9001, 9001]
        same.request("Login", {"User": "anna", "Password": "secret"})
        assert log_in(local, "anna") == 0 and log_in(other, "anna") == 0
        assert bad.ping()
        assert not same.readable()


def test_after_the_pause_the_password_is_looked_at(start_with_users):
    daemon = start_with_users("--limit", "login-free=0", "--limit", "login-pause-ms=50")
    with daemon.connect() as client:
        assert [log_in(client, "anna", "wrong") for _ in range(3)] == [9001] * 3
        assert log_in(client, "anna") == 0
        assert current_user(client) == "anna"


def test_too_many_that_wait_are_refused_at_once_and_who_goes_makes_room(start_with_users):
    daemon = start_with_users(*LONG_PAUSES, "--limit", "login-waiting=1")
    login = {"User": "anna", "Password": "secret"}
    with daemon.connect() as client, daemon.connect() as first, daemon.connect() as second:
        assert [log_in(client, "anna", "wrong") for _ in range(2)] == [9001, 9001]
        first.request("Login", login)
        assert client.ping()
        assert code_of(second.call("Login", login)) == 9001
        first.close()
        while True:  # until the daemon has seen that it has gone
            wanted = second.request("Login", login)
            if not second.readable(0.2):
                break
            assert code_of(second.reply(wanted)) == 9001


def test_client_that_goes_while_its_password_is_looked_at(daemon):
    for _ in range(50):
        with daemon.connect() as client:
            client.request("Login", {"User": "anna", "Password": "secret"})
    with daemon.connect() as client:
        assert log_in(client, "anna") == 0


def test_thousand_wrong_logins_leave_others_alone(start_with_users):
    daemon = start_with_users(*NO_PAUSES)
    wrong = {"jsonrpc": "2.0", "method": "Login", "params": {"User": "anna", "Password": "wrong"}, "id": 1}
    with daemon.connect() as attacker, daemon.connect() as client:
        attacker.send("".join(json.dumps(wrong) + "\n" for _ in range(1000)))
        while not attacker.readable():
            assert client.ping()
        for _ in range(200):
            assert client.ping()
        assert log_in(client, "anna") == 0
        for _ in range(1000):
            assert attacker.message()["error"]["code"] == 9001


def test_log_tells_refusals_without_what_was_typed(start_with_users):
    daemon = start_with_users("--log-level", "debug")
    with daemon.connect() as client:
        assert log_in(client, "anna", "kanarienvogel") == 9001
        assert log_in(client, "Zeisig", "kanarienvogel") == 9001
        assert client.code("Login", {"User": "Zeisig"}) == 9001
    lines = [line for line in daemon.log().splitlines() if "login refused" in line]
    uid = os.geteuid()
    assert lines[:2] == [f"<4>login refused: user anna, uid {uid}: wrong name or password",
                         f"<4>login refused: an unknown user, uid {uid}: wrong name or password"]
    assert len(lines) == 3
    assert "kanarienvogel" not in daemon.log() and "Zeisig" not in daemon.log()


def test_password_is_nowhere_in_memory(daemon):
    with daemon.connect() as client:
        for password in "kanarienvogel", "kanarienvogel" * 100:
            assert log_in(client, "anna", password) == 9001
            assert log_in(client, password, "wrong") == 9001
        assert client.ping()
        assert not is_in_memory(daemon.pid, "kanarienvogel")
