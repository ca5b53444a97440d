"""Files and configurations between the command line and the device, both ways: what is told, and what arrives."""

import json
import re

import pytest
from device import CONTACT, remote_device
from firmware import files_below
from netcat import Listening
from web import Web

pytestmark = pytest.mark.usefixtures("home")

DENIED = "[9001] Request denied\n"
DOWNLOAD_SYNTAX = "syntax: download <firmware|config|file> <path_to_file> [<target_file_name>]\n"
UPLOAD_SYNTAX = "syntax: upload config <remote_url> [<target_file_name>]\n"


@pytest.fixture(params=["path", "http", "netcat"])
def upload(device, taker, tmp_path, request):
    """Uploads what a word names and returns what arrived: to a file that is there, or to a server of the test's own."""
    if request.param == "path" and device.is_remote:
        pytest.skip("files are written for those on the same machine only")

    def to_path(word, command):
        target = tmp_path / f"uploaded-{word}"
        target.write_text("an older one")
        assert device.run(command, word, target) == (0, "")
        return target.read_bytes()

    def to_server(word, command):
        assert device.run(command, word, taker.url(f"/{word}")) == (0, "")
        return taker.taken[f"/{word}"]

    def to_listener(word, command):
        with Listening() as listening:
            assert device.run(command, word, listening.url) == (0, "")
            return listening.content()

    ways = {"path": to_path, "http": to_server, "netcat": to_listener}
    return lambda word, command="upload": ways[request.param](word, command)


def download(device, kind, path, *target):
    """Downloads a file that is there: (exit status, what was told apart from the sending)."""
    status, text = device.run("download", kind, path, *target)
    match = re.fullmatch(device.sending(path) + "(.*)", text, re.DOTALL)
    assert match, text
    return status, match[1]


def stored(device):
    folder = device.daemon.state / "files"
    return {name: (folder / name).read_bytes() for name in files_below(folder)}


def test_what_was_uploaded_is_taken_back(device, upload, tmp_path):
    backup = tmp_path / "backup"
    device.set("kept")
    backup.write_bytes(upload("config"))
    factory = tmp_path / "factory"
    factory.write_bytes(upload("buildconfig", "Upload"))
    device.set("changed")
    assert download(device, "config", backup) == (0, "")
    assert device.contact() == "kept"
    assert download(device, "config", factory) == (0, "")
    assert device.contact() == ""


def test_the_log_arrives(device, upload):
    device.set("told")
    lines = upload("log").decode().splitlines()
    assert any(line.endswith("ready") for line in lines)
    assert any(f"set path={CONTACT}" in line and "told" in line for line in lines)


def test_a_name_is_put_into_the_folder(device, taker, tmp_path):
    assert device.run("upload", "config", taker.url("/folder"), "a name") == (0, "")
    assert list(taker.taken) == ["/folder/a%20name"]
    folder = tmp_path / "folder"
    folder.mkdir()
    status, text = device.run("upload", "config", folder, "name")
    if device.is_remote:
        assert (status, text) == (255, "[9003] Invalid arguments: URL: missing\n")
    else:
        assert (status, text) == (0, "") and json.loads((folder / "name").read_text())["Format"]


def test_an_upload_to_where_nobody_may_write(device, taker, tmp_path):
    status, text = device.run("upload", "config", taker.url("/403"))
    assert status == 255 and text.startswith("[9012] File transfer server authentication failure"), text
    status, text = device.run("upload", "config", f"file://{tmp_path}/none/x")
    assert status == 255 and text.startswith(DENIED if device.is_remote else "[9016] "), text
    if not device.is_remote:
        assert device.run("upload", "config", tmp_path / "none") == (255, UPLOAD_SYNTAX)


def test_a_file(device, tmp_path):
    source, empty = tmp_path / "source", tmp_path / "empty"
    source.write_bytes(bytes(range(256)) * 8000)
    empty.touch()
    assert download(device, "file", source, "a name") == (0, "")
    assert download(device, "file", empty, "empty") == (0, "")
    assert stored(device) == {"a name": source.read_bytes(), "empty": b""}


def test_a_device_with_several_addresses(start_ravd, tmp_path):
    """It fetches from the client by the address that the client knows it by, although the system would take another."""
    device = remote_device(start_ravd("--listen", "tcp://127.0.0.2:0", "--allow-plain-login"), "127.0.0.2")
    source = tmp_path / "source"
    source.write_text("content")
    assert download(device, "file", source, "name") == (0, "")
    assert stored(device) == {"name": b"content"}


def test_a_file_without_a_name_for_it(device, tmp_path):
    """What is sent has none of its own."""
    source = tmp_path / "source"
    source.write_text("content")
    status, text = download(device, "file", source)
    if device.is_remote:
        assert status == 255 and text.startswith("[9003] Invalid arguments: TargetFileName: "), text
        assert stored(device) == {}
    else:
        assert (status, text) == (0, "") and stored(device) == {"source": b"content"}


def test_a_file_from_a_server(device):
    with Web({"/file": (200, {}, b"served")}) as web:
        assert device.run("download", "file", web.url("/file")) == (0, "")
        assert stored(device) == {"file": b"served"}
        status, text = device.run("Download", "config", web.url("/missing"))
    assert status == 255 and text.startswith("[9010] File transfer failure"), text


def test_no_configuration_changes_nothing(device, tmp_path):
    device.set("before")
    source = tmp_path / "source"
    source.write_text('{"Format":"ravd configuration 1","Secrets":false,"Tables":[],"Values":{"%s":"after"' % CONTACT)
    status, text = download(device, "config", source)
    assert status == 255 and text.startswith("[9018] File corrupted"), text
    assert device.contact() == "before"


def test_a_file_that_is_missing(device, tmp_path):
    path = tmp_path / "missing"
    status, text = device.run("download", "config", path)
    told = f"Cannot open file ({path}), aborting.\n[9003] Invalid arguments: URL: missing\n"
    assert (status, text) == (255, told if device.is_remote else DOWNLOAD_SYNTAX)
