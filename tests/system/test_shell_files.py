"""The history file: a fixed name in a folder where everybody may write."""

import os
import stat

import pytest

VERSION = "cat Device.DeviceInfo.SoftwareVersion"


@pytest.fixture
def use_shell(ravd, open_shell):
    """Opens a shell, enters a line and leaves."""

    def use():
        shell = open_shell(ravd.socket).wait_line("")
        shell.send("\x1b[A")  # nothing that was planted comes up
        shell.send("x")
        shell.wait_line("x").send("\x15")
        shell.wait_line("").send(f"{VERSION}\r")
        shell.wait_text("'0.2.1'")
        shell.wait_line("").send("q\r")
        assert shell.wait_end() == 0

    return use


def assert_own_file(path):
    status = path.lstat()
    assert stat.S_ISREG(status.st_mode) and status.st_mode & 0o777 == 0o600 and status.st_uid == os.getuid()
    assert path.read_text() == f"{VERSION}\n"


def test_symlink_is_neither_read_nor_written_through(use_shell, shell_tmp, tmp_path):
    victim = tmp_path / "victim"
    victim.write_text("reboot -f\n")
    shell_tmp.history.symlink_to(victim)
    use_shell()
    assert victim.read_text() == "reboot -f\n"
    assert_own_file(shell_tmp.history)


def test_symlink_to_nowhere_makes_no_file(use_shell, shell_tmp, tmp_path):
    shell_tmp.history.symlink_to(tmp_path / "nowhere")
    use_shell()
    assert not (tmp_path / "nowhere").exists()


def test_hard_link_is_not_written_through(use_shell, shell_tmp, tmp_path):
    victim = tmp_path / "victim"
    victim.write_text("reboot -f\n")
    os.link(victim, shell_tmp.history)
    use_shell()
    assert victim.read_text() == "reboot -f\n"


def test_fifo_holds_nothing_up(use_shell, shell_tmp):
    os.mkfifo(shell_tmp.history)
    use_shell()


def test_folder_is_no_history(use_shell, shell_tmp):
    shell_tmp.history.mkdir()
    use_shell()
    assert shell_tmp.history.is_dir()


def test_file_that_others_may_write_is_not_read(use_shell, shell_tmp):
    shell_tmp.history.write_text("reboot -f\n")
    shell_tmp.history.chmod(0o666)
    use_shell()
    assert_own_file(shell_tmp.history)


@pytest.mark.skipif(os.getuid() != 0, reason="only root can plant a file of somebody else's")
def test_foreign_file_is_not_read(use_shell, shell_tmp):
    shell_tmp.history.write_text("reboot -f\n")
    shell_tmp.history.chmod(0o600)
    os.chown(shell_tmp.history, 65534, 65534)
    use_shell()


def test_huge_file_is_not_read(use_shell, shell_tmp):
    with open(shell_tmp.history, "wb") as file:
        file.truncate(1 << 30)
    shell_tmp.history.chmod(0o600)
    use_shell()
    assert_own_file(shell_tmp.history)


def test_no_temporary_is_left_behind(use_shell, shell_tmp):
    use_shell()
    assert [name for name in os.listdir(shell_tmp.folder) if "hist" in name] == [".ravc.hist"]
