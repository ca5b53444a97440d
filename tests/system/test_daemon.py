"""Start and end of ravd: options, schema, state folder, sockets, TLS."""

import os
import signal
import socket
import ssl
import stat
import subprocess

import pytest

from daemon import RAVD, SOURCE, accepts, wait_for
from rpc import Closed, Rpc
from test_load import served


def run(*arguments):
    return subprocess.run([RAVD, *map(str, arguments)], capture_output=True, text=True, timeout=60, check=False)


def test_version_and_help():
    assert run("--version").stdout.startswith("ravd ")
    shown = run("--help")
    assert shown.returncode == 0
    for option in ("--socket", "--listen", "--tls-cert", "--tls-key", "--schema", "--state", "--check", "--log-level",
                   "--max-message", "--limit", "--version", "partial-ms=30000"):
        assert option in shown.stdout


@pytest.mark.parametrize("arguments", [
    ["--bogus"], ["extra"], ["--log-level", "loud"], ["--max-message", "many"], ["--max-message", "1"],
    ["--tls-cert", "/x"], ["--limit", "bogus=1"], ["--limit", "guests"], ["--limit", "guests=-1"], ["--socket"]])
def test_bad_options(arguments):
    result = run(*arguments)
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr


def test_check_counts_the_schema():
    result = run("--check", "--schema", SOURCE / "schema")
    assert (result.returncode, result.stderr) == (0, "")
    assert "objects" in result.stdout and "parameters" in result.stdout


@pytest.mark.parametrize("option", [["--check"], []])
def test_broken_schema_stops_the_start(tmp_path, option):
    schema = tmp_path / "schema"
    schema.mkdir()
    (schema / "a.json").write_text(
        '{"Device": {\n  "#attr": {"type": "object"},\n  "X": {"#attr": {"type": "bogus"}}\n}}\n')
    result = run("--schema", schema, "--socket", tmp_path / "s", "--state", tmp_path / "state", *option)
    assert (result.returncode, result.stdout) == (1, "")
    assert f"{schema}/a.json:3: " in result.stderr
    assert not (tmp_path / "s").exists()


def test_missing_schema_folder(tmp_path):
    result = run("--check", "--schema", tmp_path / "none")
    assert result.returncode == 1 and str(tmp_path / "none") in result.stderr


def test_modes_of_files(start_ravd, tmp_path):
    before = os.umask(0)
    try:
        daemon = start_ravd(state=tmp_path / "new" / "state")
    finally:
        os.umask(before)
    assert stat.S_IMODE(daemon.socket.stat().st_mode) == 0o660
    assert stat.S_IMODE(daemon.state.stat().st_mode) == 0o700
    modes = {file.is_dir(): stat.S_IMODE(file.stat().st_mode) for file in daemon.state.iterdir()}
    assert modes == {False: 0o600, True: 0o700}


def test_second_daemon_on_the_state_folder(ravd, start_ravd):
    second = start_ravd(state=ravd.state, ready=False)
    assert second.exit_status() == 1
    assert "another ravd" in second.log()
    with ravd.connect() as client:
        assert client.ping()


def test_live_socket_is_left_alone(ravd, start_ravd):
    second = start_ravd(socket=ravd.socket, ready=False)
    assert second.exit_status() == 1
    assert str(ravd.socket) in second.log()
    with ravd.connect() as client:
        assert client.ping()


def test_stale_socket_is_replaced(start_ravd, tmp_path):
    first = start_ravd()
    first.process.kill()
    assert first.exit_status() == -signal.SIGKILL
    assert first.socket.exists()
    with start_ravd(socket=first.socket, state=first.state).connect() as client:
        assert client.ping()


def test_file_that_is_no_socket_is_left_alone(start_ravd, tmp_path):
    file = tmp_path / "precious"
    file.write_text("kept")
    daemon = start_ravd(socket=file, ready=False)
    assert daemon.exit_status() == 1 and str(file) in daemon.log()
    assert file.read_text() == "kept"


def test_socket_path_too_long(start_ravd, tmp_path):
    daemon = start_ravd(socket=tmp_path / ("x" * 120), ready=False)
    assert daemon.exit_status() == 1 and "too long" in daemon.log()


@pytest.mark.parametrize("destination", ["127.0.0.1:0", "tcp://", "tcp://127.0.0.1", "tcp://127.0.0.1:65536", "/x"])
def test_bad_listen_destination(start_ravd, destination):
    daemon = start_ravd("--listen", destination, ready=False)
    assert daemon.exit_status() == 1 and destination in daemon.log()


def test_port_in_use(start_ravd):
    port = start_ravd("--listen", "tcp://127.0.0.1:0").ports()[0]
    daemon = start_ravd("--listen", f"tcp://127.0.0.1:{port}", ready=False)
    assert daemon.exit_status() == 1 and f"tcp://127.0.0.1:{port}" in daemon.log()


def test_several_listeners(start_ravd):
    daemon = start_ravd("--listen", "tcp://127.0.0.1:0", "--listen", "tcp://127.0.0.1:0")
    assert len(set(daemon.ports())) == 2
    for port in daemon.ports():
        with Rpc.tcp(port) as client:
            assert client.ping()


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
def test_signal_ends_it_cleanly(start_ravd, number):
    daemon = start_ravd()
    idle, busy, partial = daemon.connect(), daemon.connect(), daemon.connect()
    busy.ping()
    partial.send('{"jsonrpc"')
    daemon.process.send_signal(number)
    assert daemon.exit_status() == 0
    assert not daemon.socket.exists()
    for client in idle, busy, partial:
        assert client.ended()


def test_socket_of_another_is_not_removed_at_the_end(start_ravd):
    first = start_ravd()
    first.socket.unlink()
    first.socket.write_text("another's")
    first.process.terminate()
    assert first.exit_status() == 0
    assert first.socket.read_text() == "another's"


def test_log_has_levels_and_no_control_characters(start_ravd, tmp_path):
    daemon = start_ravd("--log-level", "debug", socket=tmp_path / "a\x1b[31m\nb", ready=False)
    wait_for(lambda: "<6>ready" in daemon.log(), "readiness")
    assert all(line.startswith(("<3>", "<4>", "<5>", "<6>", "<7>")) for line in daemon.log().splitlines())
    assert "\x1b" not in daemon.log() and "\\x1b[31m\\x0ab" in daemon.log()


@pytest.mark.parametrize("closed", ["<&-", ">&-", "2>&-", "<&- >&- 2>&-"])
def test_closed_standard_descriptors_are_not_given_to_sockets(tmp_path, closed):
    """Else log lines would go to a client, or to the loop itself."""
    places = ["--socket", tmp_path / "s", "--state", tmp_path / "state", "--schema", SOURCE / "schema"]
    shell = f'exec "$0" "$@" {closed}'
    with subprocess.Popen(["/bin/sh", "-c", shell, RAVD, *places], stderr=subprocess.DEVNULL) as process:
        try:
            wait_for(lambda: accepts(tmp_path / "s"), "the socket")
            with Rpc.unix(tmp_path / "s") as client:
                assert client.ping()
            folder = f"/proc/{process.pid}/fd"
            taken = {name: os.readlink(f"{folder}/{name}") for name in ("0", "1", "2")}
            filled = [name for name, word in (("0", "<&-"), ("1", ">&-"), ("2", "2>&-")) if word in closed.split()]
            assert {taken[name] for name in filled} == {"/dev/null"}, taken
        finally:
            process.terminate()
            assert process.wait(20) == 0


def test_log_level(start_ravd):
    daemon = start_ravd("--log-level", "error", ready=False)
    wait_for(lambda: accepts(daemon.socket), "the socket")
    wait_for(lambda: served(daemon.connect()), "an answer")
    assert [line for line in daemon.log().splitlines() if not line.startswith("<5>first start")] == []


def test_children_would_inherit_no_descriptor(ravd):
    with ravd.connect() as client:
        client.ping()
        folder = f"/proc/{ravd.pid}/fdinfo"
        for number in os.listdir(folder):
            if int(number) > 2:
                flags = next(line for line in open(f"{folder}/{number}", encoding="ascii") if line.startswith("flags:"))
                assert int(flags.split()[1], 8) & os.O_CLOEXEC, number


def secure(certificate, name="localhost", **settings):
    context = ssl.create_default_context(cafile=certificate[0])
    for member, value in settings.items():
        setattr(context, member, value)
    return lambda sock: context.wrap_socket(sock, server_hostname=name)


@pytest.fixture
def tls_ravd(start_ravd, certificate):
    return start_ravd("--listen", "tcp://127.0.0.1:0", "--tls-cert", certificate[0], "--tls-key", certificate[1],
                      "--limit", "login-ms=1000")


def test_tls_on_both_transports(tls_ravd, certificate):
    with tls_ravd.connect(secure(certificate)) as local, tls_ravd.connect_tcp(secure(certificate)) as remote:
        local.result("JoinGroup", {"Group": 17})
        for n in range(100):
            remote.notify("Event", {"Group": 17, "Params": ["x" * 1000, n]})
        assert [local.event()["Params"][1] for _ in range(100)] == list(range(100))
        assert "methods" in remote.result("rpc.discover")


def test_local_socket_takes_plain_beside_tls(tls_ravd):
    with tls_ravd.connect() as client:
        assert client.ping()


def test_tcp_with_a_certificate_takes_no_plain(tls_ravd):
    with tls_ravd.connect_tcp() as client:
        client.send('{"jsonrpc":"2.0","method":"rpc.discover","id":1}\n')
        assert client.ended()


@pytest.mark.filterwarnings("ignore::DeprecationWarning")
def test_old_tls_is_refused(tls_ravd, certificate):
    old = secure(certificate, maximum_version=ssl.TLSVersion.TLSv1_1, minimum_version=ssl.TLSVersion.TLSv1)
    with pytest.raises((ssl.SSLError, ConnectionError)):
        tls_ravd.connect_tcp(old)


@pytest.mark.parametrize("garbage", [
    pytest.param(b"\x16", id="one byte"), pytest.param(b"\x16" * 70000, id="first bytes only"),
    pytest.param(b"\x16\x03\x01\xff\xff" + b"\x00" * 100, id="record too long"),
    pytest.param(b"\x16\x03\x01\x00\x05\x01\x00\x00\x01\x00", id="broken hello")])
def test_garbage_handshake(tls_ravd, garbage):
    for client in tls_ravd.connect(), tls_ravd.connect_tcp():
        with client:
            try:
                client.send(garbage)
            except ConnectionError:
                pass
            assert client.ended()
    with tls_ravd.connect() as client:
        assert client.ping()


def test_last_notification_over_tls_is_served(tls_ravd, certificate):
    with tls_ravd.connect() as receiver:
        receiver.result("JoinGroup", {"Group": 17})
        with tls_ravd.connect(secure(certificate)) as sender:
            for n in range(200):
                sender.notify("Event", {"Group": 17, "Params": n})
        assert [receiver.event()["Params"] for _ in range(200)] == list(range(200))


def test_long_messages_over_tls(tls_ravd, certificate):
    with tls_ravd.connect(secure(certificate)) as client:
        client.sock.settimeout(60)
        text = "x" * 4_000_000
        client.request("JoinGroup", {"Group": 17, "x": text}, id=text[:256])
        assert client.message()["id"] == text[:256]
        client.send(b"".join(b'{"jsonrpc":"2.0","method":"rpc.discover","id":%d}\n' % n for n in range(1000)))
        assert [client.message()["id"] for _ in range(1000)] == list(range(1000))


def test_peer_that_resets_in_mid_message(tls_ravd, certificate):
    for wrap in None, secure(certificate):
        client = tls_ravd.connect(wrap)
        for _ in range(50):
            client.request("rpc.discover")
        client.close()
    remote = tls_ravd.connect_tcp(secure(certificate))
    remote.sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, b"\1\0\0\0\0\0\0\0")
    remote.send('{"jsonrpc"')
    remote.close()
    with tls_ravd.connect() as client:
        assert client.ping()


@pytest.mark.parametrize("wrong", ["missing", "garbage", "mismatch"])
def test_bad_certificate_stops_the_start(start_ravd, certificate, tmp_path, wrong):
    bad = tmp_path / "bad.pem"
    if wrong == "garbage":
        bad.write_text("no certificate")
    if wrong == "mismatch":
        subprocess.run(["openssl", "genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", bad],
                       check=True, capture_output=True)
    daemon = start_ravd("--tls-cert", certificate[0], "--tls-key", bad, ready=False)
    assert daemon.exit_status() == 1 and str(bad) in daemon.log()


def test_closed_connection_is_told(ravd):
    with ravd.connect() as client:
        client.ping()
        ravd.stop()
        with pytest.raises((Closed, ConnectionError)):
            client.ping()
