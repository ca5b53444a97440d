"""Logging in and out: who is let in, and how long it lasts."""

import json
import os
import pwd
import ssl
import subprocess

import pytest
from daemon import RAVC
from users import (LONG_PAUSES, NO_PAUSES, add_user, current_user, delete_user, has_system_access, log_in, rights,
                   set_user)

SECRET = "0123456789abcdef0123456789abcdef"

root_only = pytest.mark.skipif(os.geteuid() != 0, reason="needs another user to connect as")


@pytest.fixture
def daemon(start_with_users):
    return start_with_users(*NO_PAUSES)


@pytest.fixture
def secure(start_with_users, certificate):
    """A daemon with TLS on TCP, and how to connect to it: (daemon, connect)."""
    chain, key = certificate
    context = ssl.create_default_context(cafile=chain)

    def start_secure(*options):
        daemon = start_with_users("--listen", "tcp://127.0.0.1:0", "--tls-cert", chain, "--tls-key", key, *options)

        def connect(source=None):
            return daemon.connect_tcp(lambda sock: context.wrap_socket(sock, server_hostname="localhost"), source)

        return daemon, connect

    return start_secure


# --- passwords


def test_right_password(daemon):
    with daemon.connect() as client:
        assert client.result("Login", {"User": "anna", "Password": "secret"}) == {"User": "anna"}
        assert current_user(client) == "anna" and not has_system_access(client) and rights(client) == "user"
        assert log_in(client, "boss") == 0
        assert current_user(client) == "boss" and has_system_access(client) and rights(client) == "admin"


@pytest.mark.parametrize("name, password", [("anna", "Secret"), ("anna", ""), ("anna", "secret "), ("Anna", "secret"),
                                            ("nobody", "secret"), ("", ""), ("anna", "x" * 600)])
def test_refused_login_makes_a_guest(daemon, name, password):
    with daemon.connect() as client:
        assert log_in(client, "boss") == 0
        assert client.call("Login", {"User": name, "Password": password})["error"] == {
            "code": 9001, "message": "Request denied"}
        assert current_user(client) is None and not has_system_access(client) and rights(client) == "guest"


def test_users_who_are_let_in_by_no_password(daemon, admin):
    add_user(admin, "disabled", enable=False)
    add_user(admin, "open", password=None)
    with daemon.connect() as client:
        for name in "disabled", "open":
            for password in "secret", "":
                assert log_in(client, name, password) == 9001


def test_parameters_are_checked(daemon):
    with daemon.connect() as client:
        for params in None, {}, {"Password": "secret"}, {"User": 1}, {"User": "anna", "Password": None}:
            assert client.code("Login", params) == -32602
        assert rights(client) == "admin"


def test_password_over_tls_and_over_plain_tcp(start_with_users, secure):
    daemon, connect = secure()
    with connect() as client:
        assert rights(client) == "guest"
        assert log_in(client, "anna") == 0 and rights(client) == "user"
    with start_with_users("--listen", "tcp://127.0.0.1:0").connect_tcp() as client:
        assert log_in(client, "anna") == 9001 and rights(client) == "guest"
    lenient = start_with_users("--listen", "tcp://127.0.0.1:0", "--allow-plain-login")
    assert "<4>passwords are taken over TCP without TLS" in lenient.log()
    with lenient.connect_tcp() as client:
        assert log_in(client, "anna", "wrong") == 9001
        assert log_in(client, "anna") == 0 and rights(client) == "user"


# --- local users


def own_name():
    return pwd.getpwuid(os.geteuid()).pw_name


def test_own_name_without_a_password(daemon):
    with daemon.connect() as client:
        assert current_user(client) is None and not has_system_access(client) and rights(client) == "admin"
        assert client.result("Login", {"User": own_name()}) == {"User": own_name()}
        assert current_user(client) == own_name() and has_system_access(client)
        for name in "anna", "boss", "", "daemon", own_name() + "x":
            client.result("Login", {"User": own_name()})
            assert client.code("Login", {"User": name}) == 9001
            assert current_user(client) is None and rights(client) == "guest"


def test_no_name_without_a_password_over_tcp(secure):
    _, connect = secure()
    with connect() as client:
        for name in own_name(), "anna", "boss":
            assert client.code("Login", {"User": name}) == 9001


def connect_as(daemon, name):
    for path in daemon.socket, *daemon.socket.parents:
        if path.owner() == own_name() and str(path) not in ("/", "/tmp"):
            path.chmod(path.stat().st_mode | (0o666 if path == daemon.socket else 0o011))
    os.seteuid(pwd.getpwnam(name).pw_uid)
    try:
        return daemon.connect()
    finally:
        os.seteuid(0)


@root_only
def test_other_local_users_by_their_own_name(daemon, admin):
    with connect_as(daemon, "daemon") as client:
        assert rights(client) == "guest"
        assert client.code("Login", {"User": "root"}) == 9001
        assert client.code("Login", {"User": "bin"}) == 9001
        assert client.result("Login", {"User": "daemon"}) == {"User": "daemon"}
        assert current_user(client) == "daemon" and rights(client) == "guest"
    add_user(admin, "daemon", password=None)
    with connect_as(daemon, "daemon") as client, connect_as(daemon, "bin") as other:
        assert rights(client) == "user" and current_user(client) is None
        assert rights(other) == "guest"
        assert client.result("Logout") == {}
        assert rights(client) == "guest"
        client.result("Login", {"User": "daemon"})
        assert rights(client) == "user"


@root_only
def test_users_whom_the_system_does_not_know_are_guests(daemon, admin):
    add_user(admin, "nobody", role="admin")
    assert pwd.getpwnam("nobody").pw_uid == 65534
    with connect_as(daemon, "nobody") as client:
        assert rights(client) == "guest"
        assert client.code("Login", {"User": "nobody"}) == 9001
        assert log_in(client, "nobody") == 0 and rights(client) == "admin"


# --- how long it lasts


def test_logout(daemon):
    with daemon.connect() as client:
        assert log_in(client, "boss") == 0
        for _ in range(2):
            assert client.result("Logout") == {}
            assert current_user(client) is None and rights(client) == "guest"


def test_another_role_is_there_at_once(daemon, admin):
    with daemon.connect() as client:
        log_in(client, "anna")
        for role in "admin", "guest", "user":
            set_user(admin, daemon.anna, Role=role)
            assert rights(client) == role and current_user(client) == "anna"


@pytest.mark.parametrize("end", [
    lambda admin, number: delete_user(admin, number),
    lambda admin, number: set_user(admin, number, Enable=False),
    lambda admin, number: set_user(admin, number, Username="bert"),
    lambda admin, number: set_user(admin, number, Password="another"),
], ids=["deleted", "disabled", "renamed", "password"])
def test_sessions_end_with_what_let_them_in(daemon, admin, end):
    with daemon.connect() as client, daemon.connect() as other:
        log_in(client, "anna")
        log_in(other, "boss")
        end(admin, daemon.anna)
        assert current_user(client) is None and rights(client) == "guest"
        assert log_in(client, "anna") == 9001
        assert current_user(other) == "boss"


def test_login_is_of_both_connections(daemon):
    with daemon.connect() as requests, daemon.connect() as events:
        requests.hello(SECRET)
        events.hello(SECRET, "events")
        log_in(requests, "anna")
        assert current_user(events) == "anna"
        events.result("Logout")
        assert current_user(requests) is None
        log_in(requests, "anna")
        requests.close()
        assert current_user(events) == "anna"


def test_requests_behind_a_login_wait_for_it(daemon):
    with daemon.connect() as client:
        read = {"method": "GetParameterValues", "params": {"ParameterNames": ["Device.Users.CurrentUser"]}}
        steps = [("Login", {"User": "anna", "Password": "secret"}, "anna"),
                 ("Login", {"User": "boss", "Password": "secret"}, "boss"),
                 ("Login", {"User": "boss", "Password": "wrong"}, None), ("Logout", {}, None)]
        requests = [request for method, params, _ in steps for request in ({"method": method, "params": params}, read)]
        messages = [{"jsonrpc": "2.0", "id": n, **request} for n, request in enumerate(requests)]
        for sent in ["".join(json.dumps(each) + "\n" for each in messages), json.dumps(messages) + "\n"]:
            client.send(sent)
            replies = client.message() if sent.startswith("[") else [client.message() for _ in messages]
            assert [reply["id"] for reply in replies] == list(range(len(messages)))
            users = [reply.get("result") and reply["result"]["ParameterList"][0]["Value"] for reply in replies[1::2]]
            assert users == [user for _, _, user in steps]


def test_until_the_outcome_the_session_has_the_rights_it_had(start_with_users):
    daemon = start_with_users(*LONG_PAUSES)
    with daemon.connect() as requests, daemon.connect() as events:
        requests.hello(SECRET)
        events.hello(SECRET, "events")
        assert [log_in(requests, "anna", "wrong") for _ in range(2)] == [9001, 9001]
        assert requests.result("Login", {"User": own_name()})
        requests.request("Login", {"User": "anna", "Password": "secret"})  # will wait for long
        assert current_user(events) == own_name() and rights(events) == "admin"
        assert not requests.readable()


# --- guests of the network


def test_who_has_logged_in_does_not_count_as_a_guest(secure):
    _, connect = secure("--limit", "guests-per-address=1")
    with connect() as first:
        assert log_in(first, "anna") == 0
        with connect() as second:
            assert second.ping()
            first.result("Logout")
        assert_refused(connect)
        assert log_in(first, "anna") == 0
        with connect() as second:
            assert second.ping()


def assert_refused(connect):
    with pytest.raises(OSError), connect() as client:
        client.ping()


def test_time_of_guests_begins_anew_with_a_logout(secure):
    _, connect = secure("--limit", "login-ms=500")
    with connect() as client, connect() as other:
        assert log_in(client, "anna") == 0
        assert other.ended()
        assert current_user(client) == "anna"
        client.result("Logout")
        assert client.ended()


def test_time_of_a_guest_does_not_run_while_its_login_waits(secure):
    _, connect = secure("--limit", "login-ms=200", "--limit", "login-free=0", "--limit", "login-pause-ms=1000")
    with connect() as client:
        assert log_in(client, "anna", "wrong") == 9001
        assert log_in(client, "anna") == 0
        assert current_user(client) == "anna"


def test_large_messages_are_for_who_has_logged_in(secure):
    _, connect = secure("--limit", "message-guest=1000")
    large = {"Group": 17, "Params": "x" * 2000}
    with connect() as client:
        assert log_in(client, "anna") == 0
        assert client.result("Event", large) == {}
        client.result("Logout")
        client.request("Event", large)
        assert client.message()["error"]["code"] == -32600
        assert client.ended()


# --- ravc


def ravc(daemon, *arguments, user=None):
    return subprocess.run([RAVC, "-u", daemon.socket, *arguments], capture_output=True, text=True, timeout=60,
                          check=False, user=user)


def test_ravc_logs_in(daemon):
    result = ravc(daemon, "-a", "boss:secret", "-r", "get", "Device.Users.CurrentUser")
    assert (result.returncode, result.stdout) == (0, " = 'boss'\n")


def test_ravc_is_refused(daemon):
    result = ravc(daemon, "-a", "boss:wrong", "-r", "get", "Device.Users.CurrentUser")
    assert result.returncode == 1 and "boss" not in result.stdout, result
