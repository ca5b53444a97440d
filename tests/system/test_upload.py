"""Upload: what leaves the device, where it goes, and with whose rights; and that a configuration comes back."""

import ftplib
import json
import os
import pathlib
import socket
import threading

import pytest
from daemon import wait_for
from listener import stop_listening
from netcat import Listening
from users import add_user, log_in

CONTACT = "Device.System.Contact"
SECRET = "Device.ManagementServer.Password"


@pytest.fixture
def daemon(start_ravd):
    return start_ravd("--listen", "tcp://127.0.0.1:0", "--allow-plain-login")


@pytest.fixture
def client(daemon):
    with daemon.connect() as connection:
        yield connection


def upload(client, url, kind="Config", **more):
    reply = client.call("Upload", {"FileType": kind, "URL": url, **more})
    return reply["error"]["code"] if "error" in reply else reply["result"]


def set_value(client, name, value):
    assert client.result("SetParameterValues", {"ParameterList": [{"Name": name, "Value": value}]})


def value(client, name):
    return client.result("GetParameterValues", {"ParameterNames": [name]})["ParameterList"][0]["Value"]


def test_a_configuration_goes_out_and_comes_back(client, tmp_path):
    set_value(client, CONTACT, "kept")
    set_value(client, SECRET, "canary")
    file = tmp_path / "backup"
    file.write_text("an older one")
    assert upload(client, f"file://{file}") == {}
    assert json.loads(file.read_text())["Values"][CONTACT] == "kept"
    assert "canary" not in file.read_text()
    set_value(client, CONTACT, "lost")
    assert client.result("Download", {"FileType": "Config", "URL": f"file://{file}"}) == {}
    assert value(client, CONTACT) == "kept"


def test_the_factory_configuration_resets(client, taker):
    set_value(client, CONTACT, "changed")
    assert upload(client, taker.url("/factory"), "BuildConfig") == {}
    assert json.loads(taker.taken["/factory"])["Values"] == {}


def test_the_log_has_no_first_password(daemon, client, taker):
    password = next(line for line in daemon.log().splitlines() if "first start" in line).split()[-1]
    set_value(client, CONTACT, "told")
    assert upload(client, taker.url("/log"), "Log") == {}
    text = taker.taken["/log"].decode()
    assert "ready\n" in text and f"set path={CONTACT}" in text
    assert password not in text and "first start" not in text


def test_a_target_name_goes_into_the_folder_of_the_url(client, taker, tmp_path):
    assert upload(client, taker.url("/folder/"), TargetFileName="a b") == {}
    assert list(taker.taken) == ["/folder/a%20b"]
    assert upload(client, f"file://{tmp_path}", TargetFileName="config.json") == {}
    assert json.loads((tmp_path / "config.json").read_text())["Format"]
    for name in ("../config", "a/b", "/etc/passwd", ".", "..", "x" * 256, "a\nb"):
        assert upload(client, f"file://{tmp_path}", TargetFileName=name) == 9003, name
    assert sorted(path.name for path in tmp_path.iterdir() if path.is_file()) == ["config.json"]


def test_what_a_server_refuses_is_told(client, taker):
    for status, code in ((401, 9012), (403, 9012), (404, 9011), (500, 9011), (507, 9011)):
        assert upload(client, taker.url(f"/{status}")) == code
    assert upload(client, "http://127.0.0.1:1/") == 9015
    assert upload(client, "ftp://127.0.0.1:1/x") == 9015
    assert upload(client, "gopher://127.0.0.1/x") == 9013
    assert upload(client, "no URL") == 9013
    assert upload(client, "") == 9003
    assert upload(client, taker.url("/x"), "Firmware") == 9003
    assert client.code("Upload", {"FileType": "Config"}) == -32602


def test_netcat_gets_all_of_it(client):
    with Listening() as listening:
        assert upload(client, listening.url) == {}
        assert json.loads(listening.content())["Format"]


def test_files_are_written_as_the_peer_and_through_no_link(client, tmp_path):
    victim = tmp_path / "victim"
    victim.write_text("untouched")
    link = tmp_path / "link"
    link.symlink_to(victim)
    os.mkfifo(tmp_path / "fifo")
    for target in (link, tmp_path / "fifo", tmp_path, tmp_path / "none" / "file", pathlib.Path("/proc/version")):
        assert upload(client, f"file://{target}") == 9016, target
    assert victim.read_text() == "untouched" and link.is_symlink()
    assert not [path for path in tmp_path.iterdir() if path.name.startswith(".")]


def test_nothing_is_written_for_peers_of_the_network_or_for_users(daemon, client, taker, tmp_path):
    add_user(client, "joe")
    add_user(client, "boss", role="admin")
    with daemon.connect_tcp() as remote:
        assert upload(remote, taker.url("/guest")) == 9001
        assert log_in(remote, "joe") == 0
        assert upload(remote, taker.url("/joe")) == 9001
        assert log_in(remote, "boss") == 0
        assert upload(remote, f"file://{tmp_path}/x") == 9001
        assert upload(remote, taker.url("/boss")) == {}
    assert list(taker.taken) == ["/boss"] and not (tmp_path / "x").exists()


def test_each_is_told_and_written_down_without_credentials(daemon, client, taker):
    client.result("JoinGroup", {"Group": 3})
    assert upload(client, taker.url("/a").replace("//", "//user:canary@")) == {}
    assert upload(client, taker.url("/500")) == 9011
    client.call("GetParameterNames", {"ParameterPath": ".", "NextLevel": True})
    assert [event["params"]["Params"]["FaultCode"] for event in client.events] == [0, 9011]
    lines = [line for line in daemon.log().splitlines() if "method=Upload" in line]
    assert len(lines) == 2 and "canary" not in daemon.log()


def test_a_client_that_goes_ends_its_upload(daemon, client):
    with socket.create_server(("127.0.0.1", 0)) as listener, daemon.connect() as going:
        going.send({"jsonrpc": "2.0", "id": 1, "method": "Upload", "params": {
            "FileType": "Config", "URL": "http://127.0.0.1:%d/x" % listener.getsockname()[1]}})
        connection = listener.accept()[0]
        with connection:
            going.close()
            connection.settimeout(20)
            while connection.recv(65536):
                pass  # to the end of what was sent
    assert client.ping()


class FtpServer(threading.Thread):
    """As much of an FTP server as a transfer needs: one user, passive mode, STOR and RETR of files in memory."""

    def __init__(self):
        super().__init__(daemon=True)
        self.files = {}
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.start()

    def run(self):
        while True:
            try:
                connection = self.listener.accept()[0]
            except OSError:
                return
            threading.Thread(target=self.serve, args=(connection,), daemon=True).start()

    def serve(self, connection):
        data = None
        with connection, connection.makefile("rwb", buffering=0) as stream:
            def say(text):
                stream.write(text.encode() + b"\r\n")

            say("220 ready")
            for line in stream:
                word, _, rest = line.decode().strip().partition(" ")
                if word in ("EPSV", "PASV"):
                    data = socket.create_server(("127.0.0.1", 0))
                    say(f"229 here (|||{data.getsockname()[1]}|)" if word == "EPSV" else "502 no")
                elif word in ("STOR", "RETR"):
                    say("150 go on")
                    with data.accept()[0] as channel, channel.makefile("rwb") as content:
                        if word == "STOR":
                            self.files[rest] = content.read()
                        else:
                            content.write(self.files[rest])
                    data.close()
                    say("226 done")
                elif word == "SIZE":
                    say(f"213 {len(self.files[rest])}" if rest in self.files else "550 no")
                elif word == "QUIT":
                    say("221 bye")
                    return
                else:
                    say({"USER": "331 password", "PASS": "230 in", "PWD": '257 "/"', "TYPE": "200 ok",
                         "CWD": "250 ok"}.get(word, "502 no"))

    def close(self):
        stop_listening(self.listener, self)


@pytest.fixture
def ftp():
    server = FtpServer()
    yield server
    server.close()


def test_ftp_both_ways(client, ftp):
    with ftplib.FTP() as check:  # the server itself
        check.connect("127.0.0.1", ftp.port)
        check.login("a", "b")
    set_value(client, CONTACT, "by ftp")
    url = f"ftp://127.0.0.1:{ftp.port}/backup"
    assert upload(client, url) == {}
    wait_for(lambda: "backup" in ftp.files, "the file")
    set_value(client, CONTACT, "changed")
    assert client.result("Download", {"FileType": "Config", "URL": url}) == {}
    assert value(client, CONTACT) == "by ftp"
