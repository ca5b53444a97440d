"""What may go wrong while firmware is installed: whatever it is, what ran before runs on."""

import os
import pathlib
import subprocess

import pytest
from daemon import RAVD, wait_for
from firmware import apply, download, fetch, files_below, image_of, make_image, payload, read, upgrade
from firmware import entry as entry_of
from private_tmp import UNSHARE, is_allowed
from rpc import Closed

LARGE = 24 << 20  # bytes that take a while to write


def model_of(daemon):
    with daemon.connect() as client:
        return read(client, "ModelName")


def state_of(daemon):
    with daemon.connect() as client:
        return read(client, "SoftwareVersion", "UpgradeStatus")


def is_installing(daemon, client):
    """Whether the image is being written and not yet half done."""
    status, progress = read(client, "UpgradeStatus", "UpgradeProgress")
    assert status in (0, 1), "too late"
    return status == 1 and progress < 50 and (daemon.state / "slots" / "upgrading").exists()


@pytest.fixture
def key(tmp_path):
    """A private key, and the public one for ravd."""
    private, public = tmp_path / "key", tmp_path / "key.pub"
    subprocess.run(["openssl", "genpkey", "-algorithm", "ed25519", "-out", private], check=True, capture_output=True)
    subprocess.run(["openssl", "pkey", "-in", private, "-pubout", "-out", public], check=True, capture_output=True)
    return private, public


def refused(client, path):
    error = client.call("Download", download(path))["error"]
    assert read(client, "UpgradeStatus") == -1
    assert read(client, "UpgradeMessage") == error["data"]["Detail"]
    return error["code"]


def test_signatures(start_ravd, key, tmp_path):
    daemon = start_ravd("--firmware-key", key[1])
    model = model_of(daemon)
    other = tmp_path / "other-key"
    subprocess.run(["openssl", "genpkey", "-algorithm", "ed25519", "-out", other], check=True, capture_output=True)
    with daemon.connect() as client:
        assert refused(client, make_image(tmp_path / "unsigned", model)) == 9019
        assert refused(client, make_image(tmp_path / "foreign", model, key=other)) == 9019
        assert files_below(daemon.state / "firmware") == []
    upgrade(daemon, make_image(tmp_path / "signed", model, key=key[0]))
    assert state_of(daemon) == ["1.2.0", -2]


def test_a_key_that_is_none_stops_the_start(start_ravd, key):
    for file in (key[0], "/nonexistent"):
        daemon = start_ravd("--firmware-key", file, ready=False)
        assert daemon.exit_status() == 1
        assert f"<3>{file}: " in daemon.log()


def test_images_that_are_refused(start_ravd, tmp_path):
    daemon = start_ravd()
    model = model_of(daemon)
    good = make_image(tmp_path / "image", model)
    content = good.read_bytes()
    evil = b"root:x:0:0::/:/bin/sh\n"
    manifest = {"format": 1, "model": model, "version": "1", "payloads": [payload("../../evil", evil)]}
    bad = {
        "another model": make_image(tmp_path / "model", model + "!").read_bytes(),
        "cut": content[:-512],
        "half": content[:len(content) // 2],
        "empty": b"",
        "text": b"no image\n" * 1000,
        "damaged": content[:1600] + b"!" + content[1601:],
        "longer": content + b"x" * 512,
        "a path for a name": image_of(manifest, entry_of("../../evil", evil)),
    }
    assert image_of(manifest | {"payloads": [payload("good", evil)]}, entry_of("good", evil))  # the builder's own
    with daemon.connect() as client:
        for name, image in bad.items():
            (tmp_path / "bad").write_bytes(image)
            assert refused(client, tmp_path / "bad") == 9018, name
            assert files_below(daemon.state / "firmware") == files_below(daemon.state / "slots") == []
        (tmp_path / "bad").write_bytes(image_of(manifest | {"payloads": [payload("good", evil)]}, entry_of("good", evil)))
        assert fetch(client, tmp_path / "bad")["NewVersion"] == "1"
    assert not (daemon.state / "evil").exists() and not (daemon.state.parent / "evil").exists()


def test_progress_counts_to_the_end_and_others_are_served(start_ravd, tmp_path):
    daemon = start_ravd()
    image = make_image(tmp_path / "image", model_of(daemon), payloads={"root": os.urandom(LARGE)})
    seen = []
    with daemon.connect() as client, daemon.connect() as other:
        assert apply(client, fetch(client, image))["result"] == {}
        try:
            while True:
                seen.append(tuple(read(other, "UpgradeStatus", "UpgradeProgress")))
        except (Closed, OSError):
            pass
    counts = [progress for _, progress in seen]
    assert counts == sorted(counts) and set(range(101)) >= set(counts) and len(set(counts)) > 5
    assert {status for status, _ in seen} <= {1, -2}
    assert state_of(daemon) == ["1.2.0", -2]


def test_killed_in_the_middle(start_ravd, tmp_path):
    daemon = start_ravd()
    model = model_of(daemon)
    upgrade(daemon, make_image(tmp_path / "first", model, "1.0.0"))
    large = make_image(tmp_path / "large", model, "2.0.0", {"root": os.urandom(LARGE)})
    before = files_below(daemon.state / "slots")
    with daemon.connect() as client:
        assert apply(client, fetch(client, large))["result"] == {}
        wait_for(lambda: is_installing(daemon, client), "the beginning")
        daemon.process.kill()
        daemon.process.wait()
    assert "slots/upgrading" in files_below(daemon.state)
    again = start_ravd(state=daemon.state)
    assert state_of(again) == ["1.0.0", -1]
    with again.connect() as client:
        assert read(client, "UpgradeMessage") == "the upgrade was interrupted; 1.0.0 runs on"
    assert files_below(again.state / "slots") == before
    assert files_below(again.state / "firmware") == []
    assert (again.state / "slots" / "active" / "kernel").read_bytes() == b"k" * 777
    upgrade(again, large)
    assert state_of(again) == ["2.0.0", -2]


def test_a_reboot_in_the_middle_must_be_forced(start_ravd, tmp_path):
    daemon = start_ravd()
    large = make_image(tmp_path / "large", model_of(daemon), "2.0.0", {"root": os.urandom(LARGE)})
    with daemon.connect() as client:
        assert apply(client, fetch(client, large))["result"] == {}
        wait_for(lambda: is_installing(daemon, client), "the beginning")
        error = client.call("Reboot")["error"]
        assert (error["code"], error["data"]["Detail"]) == (9001, "firmware is being installed")
        assert client.result("Reboot", {"Force": True}) == {}
        assert client.ended()
    assert state_of(daemon) == ["0.2.1", -1]
    assert files_below(daemon.state / "slots") == files_below(daemon.state / "firmware") == []


def test_an_end_in_the_middle_is_quick(start_ravd, tmp_path):
    daemon = start_ravd()
    large = make_image(tmp_path / "large", model_of(daemon), "2.0.0", {"root": os.urandom(LARGE)})
    with daemon.connect() as client:
        assert apply(client, fetch(client, large))["result"] == {}
        wait_for(lambda: is_installing(daemon, client), "the beginning")
        daemon.stop()
    assert state_of(start_ravd(state=daemon.state)) == ["0.2.1", -1]


def test_the_same_image_asked_for_while_it_is_installed(start_ravd, tmp_path):
    daemon = start_ravd()
    model = model_of(daemon)
    large = make_image(tmp_path / "large", model, "2.0.0", {"root": os.urandom(LARGE)})
    other = make_image(tmp_path / "other", model, "3.0.0")
    with daemon.connect() as client, daemon.connect() as second:
        assert apply(client, fetch(client, large))["result"] == {}
        wait_for(lambda: is_installing(daemon, client), "the beginning")
        assert second.result("Download", download(large)) == {
            "Status": 0, "CurrentVersion": "0.2.1", "NewVersion": "2.0.0"}
        assert second.code("Download", download(other)) == 9001
        assert second.code("Download", {"FileType": "Firmware", "NeedPreUpdate": True}) == 9001
        assert second.ended()


@pytest.mark.skipif(not is_allowed(), reason="mounting is not allowed here")
@pytest.mark.parametrize("kib", [400, 900, 1500])
def test_a_full_disk(start_ravd, tmp_path, monkeypatch, kib):
    """Room for half of the image, for the image alone, and for both until something else takes it."""
    state = tmp_path / "state"
    state.mkdir()
    wrapper = tmp_path / "wrapper"
    wrapper.write_text(f'#!/bin/sh\nmount -t tmpfs -o size={kib}k,mode=700 none "{state}"\nexec "{RAVD.resolve()}" "$@"\n')
    wrapper.chmod(0o700)
    script = tmp_path / "ravd"
    script.write_text(f'#!/bin/sh\nexec {" ".join(UNSHARE)} "{wrapper}" "$@"\n')
    script.chmod(0o700)
    monkeypatch.setattr("daemon.RAVD", script)
    daemon = start_ravd(state=state)
    seen = pathlib.Path(f"/proc/{daemon.pid}/root{state}")
    image = make_image(tmp_path / "image", model_of(daemon), payloads={"root": os.urandom(500 << 10)})
    with daemon.connect() as client:
        reply = client.call("Download", download(image))
        if "result" in reply:
            room = os.statvfs(seen)
            (seen / "filler").write_bytes(b"x" * (room.f_bavail * room.f_frsize - (200 << 10)))
            assert apply(client, reply["result"])["result"] == {}
            wait_for(lambda: read(client, "UpgradeStatus") == -1, "the failure")
            assert read(client, "UpgradeMessage") == "root: No space left on device"
        assert read(client, "SoftwareVersion", "UpgradeStatus") == ["0.2.1", -1]
        assert read(client, "UpgradeMessage") != ""
        assert files_below(seen / "slots") == files_below(seen / "firmware") == []
        assert client.result("Download", {"FileType": "Firmware", "NeedPreUpdate": True}) == {}


def program(folder, name, text):
    folder.mkdir(exist_ok=True, mode=0o700)
    (folder / name).write_text("#!/bin/sh\n" + text)
    (folder / name).chmod(0o700)


def test_the_makers_own_programs(start_ravd, tmp_path):
    folder, notes = tmp_path / "programs", tmp_path / "notes"
    program(folder, "upgrade", f'cat >"{notes}"; image=$(sed "s/.*image\\":\\"//;s/\\".*//" "{notes}"); '
                               f'cp "$image" "{notes}.image"\n')
    program(folder, "reboot", f'cat >>"{notes}"; kill -TERM $PPID\n')
    daemon = start_ravd("--handlers", folder)
    image = make_image(tmp_path / "image", model_of(daemon))
    with daemon.connect() as client:
        saved = fetch(client, image)
        assert apply(client, saved)["result"] == {}
        assert client.ended()
    assert daemon.exit_status() == 0
    assert notes.read_text() == (f'{{"action":"upgrade","image":"{saved["SavedFirmware"]}","version":"1.2.0"}}\n'
                                 '{"action":"reboot"}\n')
    assert (tmp_path / "notes.image").read_bytes() == image.read_bytes()
    assert files_below(daemon.state / "slots") == ["upgrading"]
    assert state_of(start_ravd(state=daemon.state)) == ["0.2.1", -2]


def test_a_program_that_fails(start_ravd, tmp_path):
    folder = tmp_path / "programs"
    program(folder, "upgrade", "cat >/dev/null; exit 3\n")
    program(folder, "reboot", "exit 4\n")
    daemon = start_ravd("--handlers", folder)
    with daemon.connect() as client:
        reply = fetch(client, make_image(tmp_path / "image", model_of(daemon)))
        assert apply(client, reply)["result"] == {}
        wait_for(lambda: read(client, "UpgradeStatus") == -1, "the failure")
        assert read(client, "UpgradeMessage") == "upgrade: ended with the status 3"
        for _ in range(2):
            failures = daemon.log().count("the device was not restarted: ended with the status 4")
            assert client.result("Reboot") == {}
            wait_for(lambda n=failures: daemon.log().count("was not restarted: ended with the status 4") > n, "the failure")
        assert client.ping()
    assert daemon.log().count("<6>ready\n") == 1
