"""Upgrades from the command line to the daemon's next start."""

import functools
import os
import re

import pytest
from device import OK
from firmware import make_image

pytestmark = pytest.mark.usefixtures("home")


def image_for(device, folder, version, size=100_000):
    return make_image(folder / f"image-{version}", device.info("ModelName"), version, {"rootfs.img": os.urandom(size)})


@pytest.fixture
def image(device, tmp_path):
    """Builds images for the device: image(version, size=…)."""
    return functools.partial(image_for, device, tmp_path)


def upgraded(device, version):
    device.wait_start(2)
    return device.info("SoftwareVersion", "UpgradeStatus") == [version, -2]


def test_a_build_upgrade(device, image):
    path = image("0.2.2", 2_000_000)
    status, text = device.run("upgrade", path)
    assert status == 0
    assert re.fullmatch(device.sending(path) + r"Build upgrade\.\.\.\nFlashing: [*@]*\nStatus: OK\n", text), text
    assert upgraded(device, "0.2.2")


def test_an_upgrade_over_tls(secure_device, tmp_path):
    path = image_for(secure_device, tmp_path, "0.2.2", 2_000_000)
    status, text = secure_device.run("upgrade", path)
    assert status == 0
    assert re.fullmatch(secure_device.sending(path) + r"Build upgrade\.\.\.\nFlashing: [*@]*\nStatus: OK\n", text), text
    assert upgraded(secure_device, "0.2.2")


def test_a_major_upgrade_that_keeps_the_configuration(device, image):
    device.set("kept")
    assert device.run("save") == (0, OK)
    path = image("1.0.0")
    status, text = device.run("Download", "firmware", path, typed="\n")
    assert status == 0
    assert re.fullmatch(device.sending(path) + r"Major upgrade\.\.\.\nFlashing: [*@]*\nStatus: OK\n", text), text
    assert upgraded(device, "1.0.0") and device.contact() == "kept"


def test_a_minor_downgrade_keeps_the_configuration(device, image):
    device.set("kept")
    assert device.run("save") == (0, OK)
    path = image("0.1.0")
    status, text = device.run("upgrade", path)
    assert re.search(r"Minor downgrade\.\.\.\n", text) and status == 0
    assert upgraded(device, "0.1.0") and device.contact() == "kept"


def test_an_upgrade_that_is_given_up(device, image):
    path = image("1.0.0")
    status, text = device.run("upgrade", path, typed="c\n")
    assert (status, re.sub(device.sending(path), "", text)) == (0, "Major upgrade...\n")
    assert device.info("SoftwareVersion", "UpgradeStatus") == ["0.2.1", -2]
    assert list((device.daemon.state / "firmware").iterdir()) == []


def test_the_version_that_runs_is_not_installed_again(device, image):
    path = image("0.2.1")
    status, text = device.run("upgrade", path)
    assert (status, re.sub(device.sending(path), "", text)) == (0, "Flashing: \nStatus: OK\n")
    assert device.starts() == 1


def test_another_branch_resets_the_configuration(device, image):
    device.set("forgotten")
    path = image("0.2.1-other")
    status, text = device.run("upgrade", path)
    assert status == 0
    assert re.fullmatch(device.sending(path) + r"Resetting config\.\.\.\nStatus: OK\nFlashing: [*@]*\nStatus: OK\n",
                        text), text
    device.wait_start(2)
    assert device.info("SoftwareVersion") == "0.2.1-other" and device.contact() == ""


def test_an_image_that_is_damaged(device, image):
    path = image("0.2.2")
    data = bytearray(path.read_bytes())
    data[50_000] ^= 1
    path.write_bytes(data)
    status, text = device.run("upgrade", path)
    assert status == 255 and re.fullmatch(device.sending(path) + r"\[9018\] File corrupted.*\n", text), text
    assert device.info("SoftwareVersion", "UpgradeStatus") == ["0.2.1", -1]


def test_a_file_that_is_missing(device, tmp_path):
    path = tmp_path / "missing"
    status, text = device.run("upgrade", path)
    assert status == 255
    if device.is_remote:
        assert text.startswith(f"Cannot open file ({path}), aborting.\n[")
    else:
        assert text == "syntax: download <firmware|config|file> <path_to_file> [<target_file_name>]\n"
