"""save, reset and reboot with a real daemon, over its local socket and over TCP."""

import re

import pytest
from daemon import wait_for
from device import OK, Device

pytestmark = pytest.mark.usefixtures("home")


def test_what_is_saved_is_there_after_a_reboot(device):
    device.set("saved")
    assert device.run("save") == (0, OK)
    device.set("lost")
    assert device.run("reboot") == (0, OK)
    device.wait_start(2)
    assert device.contact() == "saved"
    assert device.run("reboot", "-f") == (0, OK)
    device.wait_start(3)


def test_a_restore_point_is_brought_back(device):
    device.set("point")
    assert device.run("SaveConfig", "before") == (0, OK)
    device.set("changed")
    assert device.run("save") == (0, OK)
    with device.daemon.connect() as client:
        assert "result" in client.execute("Device.LocalConfig.Restore", Name="before")
    wait_for(lambda: device.contact() == "point", "the restore point")


@pytest.mark.parametrize("name", ["", "x" * 65])
def test_a_name_that_is_none(device, name):
    status, text = device.run("save", name)
    assert status == 0 and re.match(r"\[9003\] Invalid arguments", text)


def test_reset_brings_the_defaults_back(device):
    device.set("changed")
    assert device.run("save") == (0, OK)
    assert device.run("reset") == (0, OK)
    wait_for(lambda: device.contact() == "", "the default")


def test_a_guest_may_do_nothing_of_this(start_ravd):
    daemon = start_ravd("--listen", "tcp://127.0.0.1:0")
    guest = Device(daemon, ["-u", f"tcp://127.0.0.1:{daemon.ports()[0]}"], True)
    denied = "[9001] Request denied\n"
    assert guest.run("save") == (0, denied)
    assert guest.run("reset", "all") == (0, denied)
    assert guest.run("reboot") == (255, denied + "syntax: reboot [-f] [<DeviceMode>]\n")
    assert guest.run("upgrade", "http://192.0.2.1/x") == (255, denied)
    assert daemon.log().count("<6>ready\n") == 1
