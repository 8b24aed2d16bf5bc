"""tolvd --setup beside a running daemon: what it says is about the new settings. And on disks that
take none."""

import contextlib
import os
import pty
import signal
import tty

import pytest

import queues
import settings as settings_file
import world
from config_painter import files_hold
from disks import read_only, small_disk
from settings import Settings
from tolvd import agent_settings, ask, serial_settings

TRIES = 4  # the ten seconds in which an answer is waited for may be too few on a busy machine
OTHER_DEVICE = "/run/wardenlink-other-tty"
OLD = Settings(com_port="/dev/ttyS7", snmp_community="old", schedule=[[1, 2, 3, 4]] * 7)


def set_up(*words):
    shown = ask("--setup", *words)
    assert shown.stderr == ""
    return shown.returncode, shown.stdout


@pytest.fixture
def other_ups():
    running = world.Serial(device=OTHER_DEVICE, control="/run/wardenlink-other-sim.sock")
    yield running
    running.stop()


@contextlib.contextmanager
def silent_line():
    """A line behind which nobody answers: its device."""
    nobody, line = pty.openpty()
    tty.setraw(line)
    try:
        yield os.ttyname(line)
    finally:
        os.close(nobody)
        os.close(line)


def test_the_new_line_is_heard_while_the_old_one_is_lost(serial_ups, other_ups, tolvd):
    def Try():
        serial_settings()
        running = tolvd()
        serial_ups.serial("silent on")
        running.wait_status(timeout=120, ups="lost")
        code, text = set_up("serial", OTHER_DEVICE)
        running.stop()
        serial_ups.serial("silent off")
        assert settings_file.read().com_port == OTHER_DEVICE
        if code != 0:
            return False
        assert "What the running daemon hears:\nUPS                heard\n" in text
        assert f"device             {OTHER_DEVICE}\n" in text
        assert "mains              good\n" in text
        return True
    assert any(Try() for _ in range(TRIES))


def test_a_wrong_line_is_not_answered_for_by_the_old_one(serial_ups, tolvd):
    serial_settings()
    tolvd().wait_status(mains="good")
    with silent_line() as device:
        code, text = set_up("serial", device)
        assert code == 1
        assert f"The UPS is on the serial line {device}.\n" in text
        assert "mains              good\n" not in text and "heard\n" not in text
        assert f"device             {device}\n" in text


def test_the_same_line_is_heard_anew(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    assert any(set_up("serial", world.DEVICE)[0] == 0 for _ in range(TRIES))
    serial_ups.serial("silent on")
    code, text = set_up("serial", world.DEVICE)
    assert code == 1 and "What the running daemon hears:\n" in text
    running.wait_log("the settings were read again")


def test_a_wrong_community_is_not_answered_for_by_the_right_one(agent, tolvd):
    agent_settings()
    running = tolvd()
    running.wait_status(mains="good")
    code, text = set_up("snmp", world.agent_address(), "other")
    assert code == 1
    assert f"The agent {world.agent_address()} does not answer for its UPS" in text
    assert "mains" not in text
    running.wait_status(timeout=120, ups="lost")
    # Back to the right one, while the daemon has lost its UPS.
    assert any(set_up("snmp", world.agent_address(), "public")[0] == 0 for _ in range(TRIES))
    running.wait_status(ups="heard", mains="good")


def test_a_daemon_that_does_not_follow_is_told_of(agent, tolvd):
    """One that stands still: its status of before is all that there is, and after ten seconds it
    counts for nothing."""
    def Try():
        agent_settings()
        running = tolvd()
        os.kill(running.pid, signal.SIGSTOP)
        code, text = set_up("snmp", world.agent_address())
        os.kill(running.pid, signal.SIGCONT)
        running.wait_log("the settings were read again")
        running.stop()
        assert "mains              good\n" in text
        end = "The running daemon has not taken up the new settings: see its log.\n"
        return code == 1 and text.endswith(end)
    assert any(Try() for _ in range(TRIES))


def test_a_daemon_that_cannot_be_told_is_told_of(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    running.wait_status(status=0)
    os.kill(running.pid, signal.SIGSTOP)
    queues.limit("daemonControlQueue", 10)
    with contextlib.suppress(BlockingIOError):
        while True:
            queues.send("daemonControlQueue", 5, "001")
    shown = ask("--setup", "serial", world.DEVICE)
    os.kill(running.pid, signal.SIGCONT)
    assert (shown.returncode, shown.stdout) == (1, "")
    assert shown.stderr == ("tolvd: the running daemon: it takes no order: "
                            "SIGHUP lets it read the settings that were written\n")
    os.kill(running.pid, signal.SIGHUP)
    running.wait_log("the settings were read again")


# --- disks that take no settings -------------------------------------------------------------


def check_not_written():
    """A setup that keeps the settings as they are, and tells no daemon."""
    before = sorted(os.listdir(world.FOLDER))
    for words in (["serial", world.DEVICE], ["snmp", "192.0.2.11", "other"]):
        shown = ask("--setup", *words)
        assert (shown.returncode, shown.stdout) == (1, "")
        assert shown.stderr == f"tolvd: {world.FOLDER}: the settings cannot be written\n"
        assert not files_hold(OLD)
        assert sorted(os.listdir(world.FOLDER)) == before
    assert not queues.exists("daemonControlQueue") and not queues.exists("screenControlQueue")


def test_on_a_full_disk_the_old_settings_stay_until_there_is_room(serial_ups, tolvd):
    with small_disk(world.FOLDER) as disk:
        OLD.write()
        disk.fill()
        check_not_written()
        disk.clear()
        assert set_up("serial", world.DEVICE)[0] == 0
        assert settings_file.read().com_port == world.DEVICE


def test_in_a_folder_that_nobody_may_write_the_old_settings_stay(serial_ups, tolvd):
    OLD.write()
    with read_only(world.FOLDER):
        check_not_written()
