"""Device.System.Debug: the mode, what it takes to switch it on, and what it does."""

import time

from users import add_user, current_user, log_in

PATH = "Device.System.Debug"


def switch(client, mode, password=None):
    """0, or the code of the error."""
    reply = client.execute(PATH, Mode=mode, UserPassword=password)
    return reply["error"]["code"] if "error" in reply else 0


def mode(client):
    reply = client.result("GetParameterValues", {"ParameterNames": ["Device.System.DebugMode"]})
    return reply["ParameterList"][0]["Value"]


def boss(daemon):
    """A connection of the user boss, an admin whose password is "secret"."""
    client = daemon.connect()
    if log_in(client, "boss") != 0:
        with daemon.connect() as admin:
            add_user(admin, "boss", role="admin")
        assert log_in(client, "boss") == 0
    return client


def test_the_own_password_switches_it_on(daemon):
    with boss(daemon) as client:
        assert mode(client) == "Disabled"
        assert "calls GetParameterNames" not in daemon.log()
        for name in ("Temporary", "Permanent"):
            assert switch(client, name, "secret") == 0
            assert mode(client) == name
        client.call("GetParameterNames", {"ParameterPath": ".", "NextLevel": True})
        assert "calls GetParameterNames" in daemon.log()
        assert "secret" not in daemon.log()
        assert switch(client, "Disabled") == 0
        assert mode(client) == "Disabled"
        lines = [line for line in daemon.log().splitlines() if "execute path=Device.System.Debug." in line]
        assert len(lines) == 3, lines
        assert all('user="boss"' in line and '"UserPassword":"***"' in line for line in lines)


def test_a_wrong_password_changes_nothing_and_ends_no_session(daemon):
    with boss(daemon) as client:
        for wrong in ("wrong", "", None):
            assert switch(client, "Temporary", wrong) == 9001
            assert (mode(client), current_user(client)) == ("Disabled", "boss")
        assert "refused" in daemon.log() and '"boss"' in daemon.log()


def test_guesses_cost_the_pauses_of_a_login(start_ravd):
    daemon = start_ravd("--limit", "login-free=2", "--limit", "login-pause-ms=300")
    with boss(daemon) as client:
        begin = time.monotonic()
        for _ in range(4):
            assert switch(client, "Temporary", "wrong") == 9001
        assert time.monotonic() - begin > 0.3


def test_who_has_no_password_has_none_to_show(daemon, admin):
    assert switch(admin, "Temporary", "secret") == 9001
    assert switch(admin, "Disabled") == 0


def test_only_for_admins_and_known_modes(daemon, admin):
    add_user(admin, "joe")
    with daemon.connect() as client:
        assert log_in(client, "joe") == 0
        assert switch(client, "Temporary", "secret") == 9001
    assert switch(admin, "Sometimes", "secret") == 9003


def test_permanent_outlives_the_daemon_and_temporary_does_not(start_ravd, tmp_path):
    for name, after in (("Permanent", "Permanent"), ("Temporary", "Disabled"), ("Permanent", "Permanent"),
                        ("Disabled", "Disabled")):
        daemon = start_ravd(state=tmp_path / "kept")
        with boss(daemon) as client:
            assert switch(client, name, "secret") == 0
        daemon.stop()
        daemon = start_ravd(state=tmp_path / "kept")
        with daemon.connect() as client:
            assert mode(client) == after
        daemon.stop()
