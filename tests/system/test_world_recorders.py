"""In a private world nothing turns the machine off: the commands for it only write it down."""

import os
import subprocess

import pytest

import tolvd as daemon

COMMANDS = ("/sbin/shutdown", "/usr/sbin/shutdown", "/sbin/poweroff", "/sbin/halt", "/sbin/reboot",
            "/usr/bin/wall")


def test_what_would_turn_the_machine_off_is_written_down():
    daemon.require_recorders()
    before = daemon.boot_now()
    for command in COMMANDS:
        subprocess.run([command, "-h", "now"], check=True)
    if os.path.exists("/usr/bin/systemctl"):
        subprocess.run(["systemctl", "poweroff"], check=True)
        assert daemon.recorded("systemctl")[0].words == "poweroff"
    calls = [record for record in daemon.recorded() if record.name != "systemctl"]
    assert [record.name for record in calls] == [os.path.basename(name) for name in COMMANDS]
    assert {record.words for record in calls} == {"-h now"}
    assert all(before - 0.1 <= record.at <= daemon.boot_now() for record in calls)


def test_no_daemon_is_tested_outside_a_private_world(monkeypatch):
    monkeypatch.setenv("WARDENLINK_WORLD", "machine")
    with pytest.raises(pytest.skip.Exception):
        daemon.require_recorders()
    monkeypatch.delenv("WARDENLINK_WORLD")
    with pytest.raises(AssertionError):
        daemon.require_recorders()


def test_no_daemon_is_tested_where_a_command_is_the_machines_own():
    daemon.require_recorders()
    with open("/sbin/poweroff", "rb") as source:
        recorder = source.read()
    os.remove("/sbin/poweroff")
    daemon.put_program("/sbin/poweroff", "exit 0\n")
    with pytest.raises(AssertionError):
        daemon.require_recorders()
    with open("/sbin/poweroff", "wb") as target:
        target.write(recorder)
    daemon.require_recorders()
