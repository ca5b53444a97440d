"""Reboot: the daemon starts itself anew, and clients find its sockets as they were."""

import os
import signal
import socket
import subprocess
import time

from daemon import RAVD, wait_for
from rpc import Closed, Rpc
from users import add_user, log_in

MODE, CONTACT = "Device.DeviceInfo.DeviceMode", "Device.System.Contact"
BOOT = {"Group": 2, "Params": {"Event": "Boot"}}


def starts(daemon):
    return daemon.log().count("<6>ready\n")


def reboot(daemon, params=None):
    """Reboots by a connection of its own, and waits for the end of that one."""
    with daemon.connect() as client:
        assert client.result("Reboot", params) == {}
        assert client.ended()


def descriptors(pid):
    return {number: os.readlink(f"/proc/{pid}/fd/{number}") for number in os.listdir(f"/proc/{pid}/fd")}


def sockets(pid):
    """The numbers of the sockets that a process listens on, by what they are."""
    listening = set()
    for table, state_column, inode_column, state in (("tcp", 3, 9, "0A"), ("tcp6", 3, 9, "0A")):
        with open(f"/proc/{pid}/net/{table}", encoding="ascii") as lines:
            rows = [line.split() for line in lines][1:]
        listening |= {row[inode_column] for row in rows if row[state_column] == state}
    with open(f"/proc/{pid}/net/unix", encoding="utf-8") as lines:
        listening |= {row[6] for row in map(str.split, lines) if row[3] == "00010000"}
    return sorted(link for link in descriptors(pid).values() if link[8:-1] in listening)


def test_the_reply_comes_first_and_clients_connect_at_once(start_ravd):
    daemon = start_ravd("--listen", "tcp://127.0.0.1:0", "--listen", "tcp://127.0.0.1:0")
    ports, pid, before = daemon.ports(), daemon.pid, sockets(daemon.pid)
    assert len(before) == 3
    reboot(daemon)
    for connect in (daemon.connect, lambda: Rpc.tcp(ports[0]), lambda: Rpc.tcp(ports[1])):
        with connect() as client:  # not one attempt is refused: the socket was open all the time
            assert client.ping()
    assert daemon.pid == pid and sockets(pid) == before
    wait_for(lambda: starts(daemon) == 2, "the second start")
    assert daemon.ports() == ports * 2


def test_nothing_is_left_open_but_what_is_needed(start_ravd):
    daemon = start_ravd()
    reboot(daemon)
    wait_for(lambda: starts(daemon) == 2, "the second start")
    before = descriptors(daemon.pid)
    clients = [daemon.connect() for _ in range(5)]
    for client in clients:
        assert client.ping()
    for n in range(3):
        reboot(daemon)
        wait_for(lambda n=n: starts(daemon) == 3 + n, "the next start")
    for client in clients:
        assert client.ended()
        client.close()
    assert len(descriptors(daemon.pid)) == len(before)
    with open(f"/proc/{daemon.pid}/environ", "rb") as environment:
        handed_over = [each for each in environment.read().split(b"\0") if each.startswith(b"RAVD_HANDOVER=")]
    assert len(handed_over) == 1  # the kernel shows the environment that exec was given: one mark, not one for each


def test_who_waits_at_the_door_is_let_in(start_ravd):
    daemon = start_ravd()
    with daemon.connect() as client, daemon.connect() as other:
        assert other.ping()
        os.kill(daemon.pid, signal.SIGSTOP)
        try:
            client.request("Reboot")
            late = daemon.connect()
            late.request("LeaveGroup", {"Group": 1})
        finally:
            os.kill(daemon.pid, signal.SIGCONT)
        assert client.reply(1)["result"] == {}
        assert other.ended()
    with late:
        try:
            assert late.reply(1)["result"] == {}  # by whichever of the two has taken it
        except Closed:
            wait_for(lambda: starts(daemon) == 2, "the second start")


def test_the_lock_of_the_state_folder_never_opens(start_ravd):
    daemon = start_ravd()
    for _ in range(3):
        reboot(daemon)
        second = subprocess.run([RAVD, "--socket", daemon.folder / "other", "--state", daemon.state, "--set-password",
                                 "admin"], input="x\n", capture_output=True, text=True, timeout=60, check=False)
        assert second.returncode == 1 and "another ravd uses this state folder" in second.stderr


def test_the_boot_is_told_to_those_who_come_soon(start_ravd):
    daemon = start_ravd()
    for _ in range(2):
        with daemon.connect() as client:
            client.result("JoinGroup", {"Group": 2})
            assert client.event() == BOOT
        reboot(daemon)


def test_users_and_their_passwords_are_there_afterwards(start_ravd):
    daemon = start_ravd()
    with daemon.connect() as admin:
        add_user(admin, "joe", password="right")
    reboot(daemon)
    with daemon.connect() as client:
        assert log_in(client, "joe", "right") == 0


def test_only_admins_reboot(start_ravd):
    daemon = start_ravd("--listen", "tcp://127.0.0.1:0", "--allow-plain-login")
    with daemon.connect() as admin:
        add_user(admin, "joe")
    with daemon.connect_tcp() as client:
        assert client.code("Reboot") == 9001
        log_in(client, "joe")
        assert client.code("Reboot") == 9001
        assert client.ping()
    assert starts(daemon) == 1 and "Reboot reboot" not in daemon.log()


def test_parameters_of_the_wrong_form(connect):
    for params in ({"Force": 1}, {"DeviceMode": True}, []):
        assert connect().code("Reboot", params) == -32602


def test_a_device_mode_is_kept(start_ravd):
    daemon = start_ravd()

    def mode_and_contact():
        with daemon.connect() as client:
            pairs = client.result("GetParameterValues", {"ParameterNames": [MODE, CONTACT]})["ParameterList"]
            return [pair["Value"] for pair in pairs]

    with daemon.connect() as client:
        for contact in ("saved", "not saved"):
            client.result("SetParameterValues", {"ParameterList": [{"Name": CONTACT, "Value": contact}]})
            if contact == "saved":
                client.result("SaveConfig")
    reboot(daemon, {"DeviceMode": "Bridge"})
    for _ in range(2):
        assert mode_and_contact() == ["Bridge", "saved"]
        reboot(daemon)
    with daemon.connect() as client:
        client.result("SetParameterValues", {"ParameterList": [{"Name": MODE, "Value": "Router"}]})
        client.result("SaveConfig")
    reboot(daemon)
    assert mode_and_contact() == ["Router", "saved"]


def test_a_device_mode_that_there_is_not(start_ravd):
    daemon = start_ravd()
    with daemon.connect() as client:
        for mode in ("Hub", "", "bridge"):
            error = client.call("Reboot", {"DeviceMode": mode})["error"]
            assert error["code"] == 9003 and list(error["data"]["Data"]) == [MODE]
        assert client.ping()
    assert starts(daemon) == 1


def test_the_audit_has_it(start_ravd):
    daemon = start_ravd()
    reboot(daemon, {"Force": True})
    assert (f'<5>audit: user=- role=admin peer="uid {os.getuid()}" method=Reboot reboot arguments={{"Force":true}}\n'
            in daemon.log())


def test_a_program_that_is_gone_leaves_the_daemon_running(start_ravd, tmp_path, monkeypatch):
    copy = tmp_path / "ravd"
    copy.write_bytes(RAVD.read_bytes())
    copy.chmod(0o700)
    monkeypatch.setattr("daemon.RAVD", copy)
    daemon = start_ravd()
    copy.unlink()
    reboot(daemon)
    with daemon.connect() as client:
        assert client.ping()
    assert f"{copy}: No such file or directory; it goes on" in daemon.log()
    copy.write_bytes(RAVD.read_bytes())
    copy.chmod(0o700)
    reboot(daemon)
    wait_for(lambda: starts(daemon) == 3, "the next start")
    assert daemon.log().count("it goes on") == 1


def test_a_client_that_does_not_read_holds_nothing_up(start_ravd):
    daemon = start_ravd()
    with daemon.connect() as silent:
        silent.sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        for _ in range(20):
            silent.request("GetDatamodel", {"Paths": ["."]})
        reboot(daemon)
        with daemon.connect() as client:
            assert client.ping()


def test_a_forged_mark_is_not_believed(start_ravd, monkeypatch):
    with socket.socket(socket.AF_UNIX) as other:
        monkeypatch.setenv("RAVD_HANDOVER", f"1 local={other.fileno()} lock=0 tcp0=2 tcp-1=1 x=99 =")
        with start_ravd().connect() as client:
            assert client.ping()


def test_it_ends_well_while_it_restarts(start_ravd):
    for n in range(60):
        daemon = start_ravd()
        with daemon.connect() as client:
            assert client.result("Reboot") == {}
            if n % 2:
                assert client.ended()
            else:
                time.sleep(0.008 + n / 10000)  # its loop ends at one of these moments
        daemon.stop()
