"""Download of files and configurations, from servers of the test's own that mean well, and others."""

import hashlib
import os
import random
import ssl
import threading

import pytest
from ca import Authority
from daemon import wait_for
from firmware import files_below
from web import Web

CONTENT = b"content of a file"
NAME = "Device.DNS.Client.Enable"


def endless(handler):
    handler.send_response(200)
    handler.end_headers()
    while True:
        handler.wfile.write(b"x" * 65536)


def dripping(released):
    def drip(handler):
        handler.send_response(200)
        handler.send_header("Content-Length", "1000")
        handler.end_headers()
        handler.wfile.write(b"x")
        released.wait(20)

    return drip


@pytest.fixture
def released():
    event = threading.Event()
    yield event
    event.set()


@pytest.fixture
def web(released, tmp_path):
    (tmp_path / "local").write_bytes(b"local secret")

    def away(url):
        return 302, {"Location": url}, b""

    pages = {
        "/file": (200, {}, CONTENT), "/again": away("/file"), "/ring": away("/ring"), "/endless": endless,
        "/local": away(f"file://{tmp_path / 'local'}"), "/netcat": away("netcat://127.0.0.1:1"),
        "/drip": dripping(released), "/huge": (200, {"Content-Length": str(1 << 40)}, b"x"),
        "/short": (200, {"Content-Length": "1000"}, CONTENT), "/login": (401, {}, b"who?"), "/denied": (403, {}, b""),
        "/broken": (500, {}, b"broken"), "/nowhere": (302, {}, b""),
    }
    with Web(pages) as server:
        yield server


@pytest.fixture
def daemon(start_ravd):
    return start_ravd("--limit", "transfer-stall-ms=500", "--limit", "file=1000000", "--limit", "files=1500000")


@pytest.fixture
def client(daemon):
    with daemon.connect() as connection:
        yield connection


def download(client, url, **more):
    reply = client.call("Download", {"FileType": "File", "URL": url, **more})
    return reply["error"]["code"] if "error" in reply else reply["result"]


def test_a_file(daemon, client, web):
    assert download(client, web.url("/file")) == {}
    assert (daemon.state / "files" / "file").read_bytes() == CONTENT
    md5 = hashlib.md5(CONTENT).hexdigest()
    assert download(client, web.url("/again"), TargetFileName="other name", MD5=md5, FileSize=len(CONTENT)) == {}
    assert files_below(daemon.state / "files") == ["file", "other name"]


@pytest.mark.parametrize("path, code", [
    ("/missing", 9010), ("/broken", 9010), ("/login", 9012), ("/denied", 9012), ("/ring", 9010), ("/nowhere", 9010),
    ("/local", 9010), ("/netcat", 9010), ("/short", 9010), ("/drip", 9010), ("/huge", 9004), ("/endless", 9004)])
def test_failures_leave_what_was_there(daemon, client, web, path, code):
    target = daemon.state / "files" / "kept"
    target.write_bytes(b"before")
    assert download(client, web.url(path), TargetFileName="kept") == code
    assert target.read_bytes() == b"before" and files_below(daemon.state / "files") == ["kept"]


def test_what_it_is_compared_with(daemon, client, web):
    for wrong in ({"MD5": "0" * 32}, {"FileSize": 1}):
        assert download(client, web.url("/file"), **wrong) == 9018
    assert download(client, web.url("/file"), FileSize=-1) == 9003
    assert files_below(daemon.state / "files") == []


def test_passwords_are_not_in_the_log(daemon, client, web):
    url = web.url("/file?token=geheim2", "ann:geheim1@")
    assert download(client, url) == {}
    assert web.requests[-1][1].startswith("Basic ")
    assert download(client, url.replace("/file", "/missing")) == 9010
    assert "geheim" not in daemon.log() and "method=Download download" in daemon.log()


def test_nobody_there_and_other_schemes(client):
    assert download(client, "http://127.0.0.1:1/x") == 9015
    assert download(client, "gopher://127.0.0.1/x") == 9013
    assert download(client, "ftp://127.0.0.1:1/x") == 9015
    assert download(client, "") == 9003


def test_https(start_ravd, tmp_path, monkeypatch):
    authority = Authority(tmp_path / "ca")
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(*authority.sign("server", "IP:127.0.0.1"))
    with Web({"/plain": (302, {"Location": "http://127.0.0.1:1/x"}, b""), "/file": (200, {}, CONTENT)}, context) as web:
        with start_ravd().connect() as client:
            assert download(client, web.url("/file")) == 9015  # by nobody it knows
        monkeypatch.setenv("SSL_CERT_FILE", str(authority.certificate))
        with start_ravd().connect() as client:
            assert download(client, web.url("/file")) == {}
            assert download(client, web.url("/plain")) == 9010


def names():
    """Names of every kind, the same at every run."""
    source = random.Random(7)
    pieces = ["..", ".", "/", "//", "a", "b.txt", "\t", "\n", "é", "etc", "passwd", "%2e%2e%2f", " ", "\x7f", "\\", "~", "-"]
    for _ in range(int(os.environ.get("RAV_NAMES", 1000))):
        yield "".join(source.choices(pieces, k=source.randint(0, 6))) * source.choice([1, 1, 1, 60])


def test_names_stay_in_the_folder(daemon, client, tmp_path):
    source = tmp_path / "source"
    source.write_bytes(b"x")
    folder = daemon.state / "files"
    before = [path for path in files_below(tmp_path)]
    for name in names():
        outcome = download(client, f"file://{source}", TargetFileName=name)
        plain = name == "" or (not name.startswith(".") and "/" not in name and len(name.encode()) < 256
                               and not any(ord(char) < 32 or ord(char) == 127 for char in name))
        assert outcome == ({} if plain else 9003), repr(name)
        if plain:
            (folder / (name or "source")).unlink()
    assert [path for path in files_below(tmp_path)] == before


def test_what_is_no_plain_file_is_not_replaced(daemon, client, tmp_path):
    source, outside = tmp_path / "source", tmp_path / "outside"
    for path in (source, outside):
        path.write_bytes(path.name.encode())
    folder = daemon.state / "files"
    (folder / "link").symlink_to(outside)
    (folder / "folder").mkdir()
    os.mkfifo(folder / "fifo")
    for name in ("link", "folder", "fifo"):
        assert download(client, f"file://{source}", TargetFileName=name) == 9016
    assert outside.read_bytes() == b"outside" and (folder / "link").is_symlink()


def test_the_folder_has_an_end(client, tmp_path):
    source = tmp_path / "source"
    source.write_bytes(b"x" * 900_000)
    assert download(client, f"file://{source}", TargetFileName="a") == {}
    assert download(client, f"file://{source}", TargetFileName="a") == {}
    assert download(client, f"file://{source}", TargetFileName="b") == 9004


def test_leftovers_go_at_the_start(start_ravd, tmp_path):
    folder = tmp_path / "state" / "files"
    folder.mkdir(parents=True)
    (folder / ".left.new").write_bytes(b"x")
    (folder / "kept").write_bytes(b"x")
    start_ravd(state=tmp_path / "state")
    assert files_below(folder) == ["kept"]


def test_a_client_that_goes(daemon, client, web, released):
    with daemon.connect() as other:
        other.request("Download", {"FileType": "File", "URL": web.url("/drip")})
        wait_for(lambda: web.requests, "the request")
    assert client.ping()
    assert files_below(daemon.state / "files") == []


def test_the_end_is_told(client, web):
    client.result("JoinGroup", {"Group": 3})
    assert download(client, web.url("/file"), TransactionID=[1, "x"]) == {}
    assert client.event()["Params"] == {"TransactionID": [1, "x"], "FaultCode": 0, "FaultString": ""}
    assert download(client, web.url("/missing")) == 9010
    assert client.event()["Params"] == {"TransactionID": None, "FaultCode": 9010, "FaultString": "File transfer failure"}


def test_not_for_the_network(start_ravd, tmp_path):
    (tmp_path / "source").write_bytes(b"x")
    daemon = start_ravd("--listen", "tcp://127.0.0.1:0", "--allow-plain-login")
    with daemon.connect_tcp() as client:
        assert download(client, f"file://{tmp_path / 'source'}") == 9001
    assert files_below(daemon.state / "files") == []


def test_a_configuration(client, tmp_path):
    document = tmp_path / "document"
    for content in (b"", b"{}", b"no configuration", b"\xff"):
        document.write_bytes(content)
        assert download(client, f"file://{document}", FileType="Config") == 9018
    document.write_text('{"Format":"ravd configuration 1","Secrets":false,"Tables":[],"Values":{"%s":false}}' % NAME)
    assert download(client, f"file://{document}", FileType="Config") == {}
    values = client.result("GetParameterValues", {"ParameterNames": [NAME]})["ParameterList"]
    assert values == [{"Name": NAME, "Value": False}]
