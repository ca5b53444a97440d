"""The conversation of a firmware upgrade, request by request, and whose it is."""

import hashlib
import re
import socket
import threading

import pytest
from daemon import wait_for
from firmware import apply, cancel, download, fetch, files_below, make_image, read, upgrade
from rpc import Closed
from users import add_user, code_of, log_in

GONE = "the client has gone before the installation"
PRE_UPDATE = {"FileType": "Firmware", "NeedPreUpdate": True}


def is_admin_of(client, name):
    assert log_in(client, name) == 0
    return client


@pytest.fixture
def daemon(start_ravd):
    return start_ravd()


@pytest.fixture
def client(daemon):
    with daemon.connect() as connection:
        yield connection


@pytest.fixture
def image(client, tmp_path):
    return make_image(tmp_path / "image", read(client, "ModelName"))


def refusal(client, params):
    """Code and detail of a refused Download."""
    error = client.call("Download", params)["error"]
    return error["code"], error.get("data", {}).get("Detail")


def no_image_is_kept(daemon):
    return wait_for(lambda: files_below(daemon.state / "firmware") == [], "the image to go")


def test_before_the_first_upgrade(client):
    assert read(client, "SoftwareVersion", "UpgradeStatus", "UpgradeProgress", "UpgradeMessage") == ["0.2.1", 0, 0, ""]


def test_other_types_of_files_are_no_firmware(client, image):
    for kind in ("firmware", "", "Firmware "):
        assert client.code("Download", download(image, FileType=kind)) == 9003
    assert client.code("Download", {"URL": f"file://{image}"}) == -32602


def test_pre_update_asks_only(daemon, client):
    for more in ({}, {"URL": ""}, {"URL": "file:///nowhere", "MD5": "0" * 32}, {"FileSize": 1000}):
        assert client.result("Download", PRE_UPDATE | more) == {}
    assert files_below(daemon.state / "firmware") == []


def test_pre_update_knows_what_does_not_fit(start_ravd):
    with start_ravd("--limit", "firmware=100000").connect() as client:
        assert client.result("Download", PRE_UPDATE | {"FileSize": 100000}) == {}
        assert refusal(client, PRE_UPDATE | {"FileSize": 100001}) == (9004, "the image is too large")
    with start_ravd("--limit", f"firmware={1 << 30}").connect() as client:
        assert client.code("Download", PRE_UPDATE | {"FileSize": 1 << 62}) == 9004


def test_the_second_request_fetches_and_verifies(daemon, client, image):
    reply = fetch(client, image)
    assert (reply["CurrentVersion"], reply["NewVersion"]) == ("0.2.1", "1.2.0")
    assert re.fullmatch("[0-9a-f]{32}", reply["TransactionID"])
    saved = daemon.state / "firmware" / reply["SavedFirmware"].rpartition("/")[2]
    assert str(saved) == reply["SavedFirmware"] and saved.read_bytes() == image.read_bytes()
    assert saved.stat().st_mode & 0o777 == 0o600 and saved.parent.stat().st_mode & 0o777 == 0o700
    assert read(client, "SoftwareVersion", "UpgradeStatus") == ["0.2.1", 0]


def test_the_third_request_installs(daemon, client, image):
    client.result("JoinGroup", {"Group": 2})
    assert client.event()["Params"] == {"Event": "Boot"}
    assert apply(client, fetch(client, image))["result"] == {}
    started, finished = client.event()["Params"], client.event()["Params"]
    versions = {"CurrentVersion": "0.2.1", "NewVersion": "1.2.0"}
    assert started == {"Event": "UpgradeStarted", **versions}
    assert finished == {"Event": "UpgradeFinished", "Status": -2, **versions, "Message": "1.2.0 is installed"}
    assert client.ended()
    with daemon.connect() as again:
        assert read(again, "SoftwareVersion", "UpgradeStatus", "UpgradeProgress", "UpgradeMessage") == [
            "1.2.0", -2, 100, "the upgrade to 1.2.0 has ended"]
        assert (daemon.state / "slots" / "active" / "kernel").read_bytes() == b"k" * 777
        assert again.result("Reboot") == {}
        assert again.ended()
    with daemon.connect() as again:
        assert read(again, "SoftwareVersion", "UpgradeStatus") == ["1.2.0", 0]
    assert daemon.log().count("<6>ready\n") == 3


def serve_once(content):
    """The netcat:// URL at which a content is had, once, and the thread that serves it."""
    listening = socket.create_server(("127.0.0.1", 0))

    def serve():
        with listening, listening.accept()[0] as client:
            client.sendall(content)

    thread = threading.Thread(target=serve, daemon=True)
    thread.start()
    return f"netcat://127.0.0.1:{listening.getsockname()[1]}", thread


def test_an_image_from_the_network(start_ravd, image):
    daemon = start_ravd("--listen", "tcp://127.0.0.1:0", "--allow-plain-login")
    content = image.read_bytes()
    with daemon.connect() as local:
        add_user(local, "ann", role="admin")
    with daemon.connect_tcp() as client:
        is_admin_of(client, "ann")
        assert client.code("Download", download(image)) == 9001  # the daemon's own files are none of the network's
        for sent, code in ((content[:-600], 9018), (content, 0)):
            url, thread = serve_once(sent)
            reply = client.call("Download", download(image, URL=url, FileSize=len(content)))
            thread.join()
            assert code_of(reply) == code, reply
        assert apply(client, reply["result"])["result"] == {}
        assert client.ended()
    with daemon.connect() as local:
        assert read(local, "SoftwareVersion") == "1.2.0"


def test_slots_take_turns(daemon, client, tmp_path):
    model = read(client, "ModelName")
    for version, slot in (("1.0.0", "a"), ("2.0.0-b", "b"), ("1.0.0", "a")):
        upgrade(daemon, make_image(tmp_path / f"image{version}", model, version, {f"only-{version}": b"x"}))
        assert (daemon.state / "slots" / "active").readlink().name == slot
        assert files_below(daemon.state / "slots" / slot) == ["manifest.json", f"only-{version}"]
        with daemon.connect() as again:
            assert read(again, "SoftwareVersion") == version
    assert files_below(daemon.state / "slots" / "b") == ["manifest.json", "only-2.0.0-b"]


def test_the_version_that_runs_ends_the_wait_without_being_installed(daemon, client, image):
    upgrade(daemon, image)
    with daemon.connect() as again:
        reply = fetch(again, image)
        assert reply["CurrentVersion"] == reply["NewVersion"] == "1.2.0"
        assert read(again, "UpgradeStatus", "UpgradeMessage") == [-2, "1.2.0 runs already"]
        assert apply(again, reply)["result"] == {}  # who wants it all the same
        assert again.ended()


def test_the_version_that_runs_is_known_in_another_spelling(client, tmp_path):
    reply = fetch(client, make_image(tmp_path / "image", read(client, "ModelName"), "0.2.01"))
    assert (reply["CurrentVersion"], reply["NewVersion"]) == ("0.2.1", "0.2.01")
    assert read(client, "UpgradeStatus", "UpgradeMessage") == [-2, "0.2.01 runs already"]


def test_cancelling_deletes_the_image(daemon, client, image):
    reply = fetch(client, image)
    assert cancel(client, reply)["result"] == {}
    assert files_below(daemon.state / "firmware") == []
    assert read(client, "UpgradeStatus", "UpgradeMessage") == [-2, "the upgrade was cancelled"]
    assert cancel(client, reply)["error"]["code"] == 9001
    assert apply(client, reply)["error"]["code"] == 9001


def test_a_refused_installation_ends_the_wait_of_its_client(client):
    assert apply(client, {"SavedFirmware": "/x", "TransactionID": "0" * 32})["error"]["code"] == 9001
    assert read(client, "UpgradeStatus", "UpgradeMessage") == [-1, "an upgrade was refused: no such transaction"]


@pytest.mark.parametrize("transaction", [None, 7, "", [], {}, "0" * 32, "x" * 100000])
def test_other_transactions_are_refused(daemon, client, image, transaction):
    reply = fetch(client, image)
    for end in (apply, cancel):
        assert end(client, reply | {"TransactionID": transaction})["error"]["code"] == 9001
    assert len(files_below(daemon.state / "firmware")) == 1
    assert cancel(client, reply)["result"] == {}


def test_the_url_of_the_third_request_counts_for_nothing(daemon, client, image, tmp_path):
    other = make_image(tmp_path / "other", read(client, "ModelName"), "6.6.6")
    assert apply(client, fetch(client, image), URL=f"file://{other}")["result"] == {}
    assert client.ended()
    with daemon.connect() as again:
        assert read(again, "SoftwareVersion") == "1.2.0"


def test_what_is_put_in_the_place_of_the_saved_file_is_not_installed(daemon, client, image, tmp_path):
    other = make_image(tmp_path / "other", read(client, "ModelName"), "6.6.6")
    reply = fetch(client, image)
    saved = daemon.state / "firmware" / reply["SavedFirmware"].rpartition("/")[2]
    saved.unlink()
    saved.write_bytes(other.read_bytes())
    assert apply(client, reply)["result"] == {}
    assert client.ended()
    with daemon.connect() as again:
        assert read(again, "SoftwareVersion") == "1.2.0"


def test_what_is_written_into_the_saved_file_is_not_installed(daemon, client, image):
    reply = fetch(client, image)
    with open(reply["SavedFirmware"], "r+b") as saved:
        saved.seek(2000)
        saved.write(b"!")
    assert apply(client, reply)["result"] == {}
    wait_for(lambda: read(client, "UpgradeStatus") == -1, "the failure")
    assert "not what the manifest has a hash of" in read(client, "UpgradeMessage")
    assert read(client, "SoftwareVersion") == "0.2.1"
    assert files_below(daemon.state / "slots") == [] and files_below(daemon.state / "firmware") == []


def test_a_session_that_ends_takes_its_image_along(daemon, client, image):
    with daemon.connect() as other:
        reply = fetch(other, image)
        assert refusal(client, PRE_UPDATE) == (9001, "another upgrade is running")
    no_image_is_kept(daemon)
    assert read(client, "UpgradeStatus", "UpgradeMessage") == [-1, GONE]
    assert apply(client, reply)["error"]["code"] == 9001
    assert client.result("Download", PRE_UPDATE) == {}


def test_a_session_may_begin_again(daemon, client, image):
    first = fetch(client, image)
    assert client.result("Download", PRE_UPDATE) == {}
    second = fetch(client, image)
    assert apply(client, first)["error"]["code"] == 9001
    assert files_below(daemon.state / "firmware") == [second["SavedFirmware"].rpartition("/")[2]]
    assert cancel(client, second)["result"] == {}


def test_others_neither_install_nor_cancel(daemon, client, image):
    reply = fetch(client, image)
    with daemon.connect() as other:
        for end in (apply, cancel):
            assert end(other, reply)["error"]["code"] == 9001
        assert refusal(other, download(image)) == (9001, "another upgrade is running")
    assert cancel(client, reply)["result"] == {}


def test_both_connections_of_a_session_may(daemon, client, image):
    with daemon.connect() as first, daemon.connect() as second:
        first.hello("ab" * 16)
        second.hello("ab" * 16, "events")
        reply = fetch(first, image)
        assert cancel(second, reply)["result"] == {}


def test_another_user_of_the_session_may_not(daemon, client, image):
    add_user(client, "ann", role="admin")
    add_user(client, "bob", role="admin")
    is_admin_of(client, "ann")
    reply = fetch(client, image)
    is_admin_of(client, "bob")
    assert apply(client, reply)["error"]["code"] == 9001
    is_admin_of(client, "ann")
    assert cancel(client, reply)["result"] == {}


def test_only_admins(start_ravd, tmp_path):
    daemon = start_ravd("--listen", "tcp://127.0.0.1:0", "--allow-plain-login")
    with daemon.connect() as admin:
        add_user(admin, "joe")
        image = make_image(tmp_path / "image", read(admin, "ModelName"))
    with daemon.connect_tcp() as client:
        for _ in range(2):
            for params in (PRE_UPDATE, download(image), download(image, TransactionID="0" * 32)):
                assert client.code("Download", params) == 9001
            log_in(client, "joe")
    assert files_below(daemon.state / "firmware") == []


def test_an_image_that_nobody_wants_goes(start_ravd, tmp_path):
    daemon = start_ravd("--limit", "firmware-wait-ms=50")
    with daemon.connect() as client:
        reply = fetch(client, make_image(tmp_path / "image", read(client, "ModelName")))
        no_image_is_kept(daemon)
        assert read(client, "UpgradeStatus", "UpgradeMessage") == [-1, "1.2.0 was not installed in time"]
        assert apply(client, reply)["error"]["code"] == 9001


def test_md5_and_size_are_checked(daemon, client, image):
    md5, size = hashlib.md5(image.read_bytes()).hexdigest(), image.stat().st_size
    assert cancel(client, fetch(client, image, MD5=md5, FileSize=size))["result"] == {}
    for wrong in ({"MD5": "0" * 32}, {"FileSize": size + 1}, {"FileSize": size - 1}):
        assert client.code("Download", download(image, **wrong)) == 9018
        assert read(client, "UpgradeStatus") == -1
    assert files_below(daemon.state / "firmware") == []


def test_two_clients_race(daemon, client, image):
    """However they are mixed: one image at a time, and whoever has it can do with it what it likes."""
    with daemon.connect() as other:
        for n in range(50):
            requests = [(each, each.request("Download", download(image))) for each in (client, other)]
            replies = [(each, each.reply(number)) for each, number in requests]
            winners = [(each, reply["result"]) for each, reply in replies if "result" in reply]
            losers = [reply["error"]["code"] for _, reply in replies if "error" in reply]
            assert (len(winners), losers) == (1, [9001])
            winner, reply = winners[0]
            loser = other if winner is client else client
            for end in (apply, cancel):
                assert end(loser, reply)["error"]["code"] == 9001
            assert cancel(winner, reply)["result"] == {}
            assert files_below(daemon.state / "firmware") == [], n


def test_a_client_that_goes_while_its_image_is_fetched(daemon, client, image):
    for _ in range(20):
        with daemon.connect() as other:
            other.request("Download", download(image))
        wait_for(lambda: "result" in client.call("Download", PRE_UPDATE), "the upgrade to end")
        # It may begin late, or never.
        wait_for(lambda: read(client, "UpgradeStatus", "UpgradeMessage") in ([-1, GONE], [0, ""]), "its status")
        wait_for(lambda: files_below(daemon.state / "firmware") == [], "its files to go")


def test_the_audit_has_it(daemon, client, image):
    assert apply(client, fetch(client, image))["result"] == {}
    with pytest.raises((Closed, OSError)):
        while True:
            client.ping()
    assert ('method=Download upgrade arguments={"CurrentVersion":"0.2.1","NewVersion":"1.2.0"}\n') in daemon.log()
