"""A dry run that was forgotten looks like protection: it says everywhere that it is none."""

import os

import pytest

from settings import Settings
from tolvd import (OUTAGE, agent_settings, ask, boot_now, leave_outage, preloaded,
                   serial_settings)

REMINDER = "^dry run: nothing is protected$"
HOUR = 3600000  # milliseconds


def test_the_log_says_so_at_the_start_and_every_hour(tolvd):
    Settings(comm_mode=7).write()
    began = boot_now() * 1000
    running = tolvd("--dry-run", ready=False, env=preloaded("short_waits"))
    first = running.wait_log(REMINDER)
    assert first.priority == 4
    running.wait_log(REMINDER, 300, count=3)
    count = len(running.lines(REMINDER))
    passed = running.status()["boot_milliseconds"] - began
    assert passed > 1.5 * HOUR and count <= passed // HOUR + 2


def test_a_daemon_that_means_it_says_nothing_of_the_kind(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    running.wait_status(dry_run=False)
    assert not running.lines("dry run")
    for option in ("--status", "--check"):
        assert "dry run" not in ask(option).stdout
    assert ask("--foreground").stderr == "tolvd: another tolvd is running\n"


@pytest.mark.parametrize("kind", ["serial", "snmp"])
def test_every_question_is_answered_with_it(request, tolvd, kind):
    request.getfixturevalue("serial_ups" if kind == "serial" else "agent")
    (serial_settings if kind == "serial" else agent_settings)()
    tolvd("--dry-run").wait_status(status=0)
    shown = ask("--status")
    assert shown.returncode == 0
    assert "dry run            nothing is protected\n" in shown.stdout
    shown = ask("--check")
    assert shown.returncode == 0
    assert "Trouble: the daemon that runs is a dry run: nothing is protected. " in shown.stdout


def test_no_power_failure_is_kept_or_ended_by_it(serial_ups, tolvd):
    serial_settings(ac_fail_delay=60)
    serial_ups.freeze()
    serial_ups.mains("fail")
    trial = tolvd("--dry-run")
    trial.wait_status(status=2, pending="outage")
    trial.stop()
    assert not os.path.exists(OUTAGE), "it would be taken over by a daemon that means it"
    serial_ups.mains("restore")
    leave_outage(5)
    trial = tolvd("--dry-run", env=preloaded("short_waits"))
    trial.wait_log("the mains are back")
    trial.stop()
    assert os.path.exists(OUTAGE), "of a daemon that meant it"


def test_a_second_daemon_is_told_that_the_first_is_a_dry_run(serial_ups, tolvd):
    serial_settings()
    tolvd("--dry-run")
    for words in ([], ["--foreground"], [" " * 12]):
        second = ask(*words)
        assert (second.returncode, second.stderr) == (
            1, "tolvd: another tolvd is running; it is a dry run: nothing is protected\n")
