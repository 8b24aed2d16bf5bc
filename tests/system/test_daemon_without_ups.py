"""The daemon where there is no UPS: it runs, shows presence, and says that it protects nothing."""

import os

import pytest

import queues
import world
from settings import Settings
from tolvd import ask, recorded, serial_settings
from world import wait_until

NOTHING = "NOTHING is protected$"


def check_idle(running):
    told = running.wait_log(NOTHING)
    assert told.priority == 4
    running.wait_status(source="none", ups="none", mains="unknown", battery="unknown", status=1,
                        device="", pending="none")
    queues.drain("heartbeatQueue")
    wait_until(lambda: queues.count("heartbeatQueue") >= 2, what="presence")
    assert ask("--status").returncode == 1


def test_without_settings_it_runs_on_defaults_and_writes_none(tolvd):
    running = tolvd(ready=False)
    told = running.wait_log("the settings cannot be read whole: what is missing has its default")
    assert told.priority == 4
    check_idle(running)
    assert os.listdir(world.FOLDER) == []
    running.stop()
    assert os.listdir(world.FOLDER) == [] and recorded("shutdown") == []


@pytest.mark.parametrize("settings", [
    Settings(snmp_ip="127.0.0.1"), Settings(snmp_ip="127.1.2.3"), Settings(snmp_ip="localhost"),
    Settings(comm_mode=7, com_port="/dev/no-such-line"), Settings(comm_mode=-1)],
    ids=lambda settings: f"{settings.comm_mode} {settings.snmp_ip}")
def test_settings_that_name_no_ups_are_no_fault(tolvd, settings):
    settings.write()
    running = tolvd(ready=False)
    check_idle(running)
    assert not running.lines("cannot be opened") and not running.lines("does not answer")
    assert recorded("shutdown") == []


def test_a_ups_that_is_set_up_later_is_watched(serial_ups, tolvd):
    running = tolvd(ready=False)
    check_idle(running)
    serial_settings()
    running.reload()
    running.wait_status(source="serial", ups="heard", mains="good", status=0)
